#pragma once

#include "MGAclList.h"
#include "MGError.h"
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
    using AccessReply = std::function<void(std::optional<QList<MGTreeNode::Pointer>> access, MGResultError error)>;
    using ErrorReply = std::function<void(MGResultError error)>;

    virtual ~MGAclServiceProxy() = default;
    virtual void getAclEntriesWithUrl(const QUrl &url, EntriesReply reply) = 0;
    // With `expected`, the service writes only if the item still holds those entries (what
    // the caller read), and answers an error that says it changed otherwise.
    virtual void setAclEntries(const MGAclList &entries, const QUrl &url, ErrorReply reply,
                               const std::optional<MGAclList> &expected = std::nullopt) = 0;
    virtual void propagateAclEntries(const MGAclList &entries, const QUrl &url, ErrorReply reply,
                                     const std::optional<MGAclList> &expected = std::nullopt) = 0;
    virtual void getAclAccessWithUrl(const QUrl &url, const QUuid &uuid, AccessReply reply) = 0;
};
