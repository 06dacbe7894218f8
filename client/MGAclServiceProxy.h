#pragma once

#include "MGAclExpectation.h"

#include "MGAclList.h"
#include "MGError.h"
#include "MGPropagationWatch.h"
#include "MGTreeNode.h"

#include <QUrl>
#include <QUuid>
#include <functional>

// The ACL service's remote methods. Every reply (and, instead of it, the proxy's error
// handler when the connection fails) runs on the connection's own thread.
class MGAclServiceProxy
{
public:
    using EntriesReply = std::function<void(std::optional<MGAclList> entries, MGResultError error)>;
    // What an access answer says beside its tree.
    struct AccessNotes
    {
        // The first folder on the item's path that keeps the identity out (the tree is the
        // item's own answer, whatever the folders above allow); empty when none does.
        QString blockedBy;
        // What the answer could not count, in a sentence (a file server's share permissions
        // that the login may not read); empty when it counted everything.
        QString caveat;
    };
    using AccessReply = std::function<void(std::optional<QList<MGTreeNode::Pointer>> access, MGResultError error,
                                           const AccessNotes &notes)>;
    using ErrorReply = std::function<void(MGResultError error)>;

    virtual ~MGAclServiceProxy() = default;
    virtual void getAclEntriesWithUrl(const QUrl &url, EntriesReply reply) = 0;
    // With `expected`, the service writes only if the item still holds those entries (what
    // the caller read) and is still that file, and answers an error that says it changed
    // otherwise. With `specialBits`, the item's set-id and sticky bits become those.
    virtual void setAclEntries(const MGAclList &entries, const QUrl &url, ErrorReply reply,
                               const MGAclExpectation &expected = {}, std::optional<mode_t> specialBits = std::nullopt) = 0;
    // With a watch, the walk reports its progress to it and can be stopped through it; the
    // last report (finished) holds the whole summary and comes before the reply.
    virtual void propagateAclEntries(const MGAclList &entries, const QUrl &url, ErrorReply reply,
                                     const MGAclExpectation &expected = {},
                                     std::shared_ptr<MGPropagationWatch> watch = {}) = 0;
    // With `edited`, the access that list would give the item if it were saved (nothing is
    // written); the item's own otherwise.
    virtual void getAclAccessWithUrl(const QUrl &url, const QUuid &uuid, AccessReply reply,
                                     const std::optional<MGAclList> &edited = std::nullopt) = 0;
    // The ACLs of the item and everything below it, in getfacl's text form, in pieces as
    // the walk goes (on the reply thread, in order), then the reply; with `itemOnly`, the
    // item's alone.
    using TextHandler = std::function<void(const QByteArray &text)>;
    virtual void backupAclEntriesWithUrl(const QUrl &url, TextHandler text, ErrorReply reply, bool itemOnly = false) = 0;
    // Where below the item the identity has `level` access ("read", "write" or "any"), one
    // line per item, or with `summary` the counts alone, as text pieces like a backup's.
    virtual void auditAclAccessWithUrl(const QUrl &url, const QUuid &uuid, const QString &level, bool summary,
                                       TextHandler text, ErrorReply reply) = 0;
};
