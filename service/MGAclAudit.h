#pragma once

#include "MGAccessEvaluator.h"
#include "MGAclTextFormat.h"
#include "MGFileItem.h"
#include "MGTextPieces.h"
#include "MGTreeWalker.h"

#include <functional>

// Finds where a user or group has an access below a folder: every folder and regular file
// below it (and the item itself), walked as MGTreeWalker walks (no link followed, no mount
// point crossed, nothing opened but folders), judged by the kernel's own rules
// (MGAccessEvaluator) including the way there: what is inside a folder the identity cannot
// search is out of its reach whatever its own ACL says, so the walk does not go in (and
// holds nothing for it); below a folder above the item that keeps the identity out, nothing
// is looked at.
//
// The answer is text, sent to the sink in pieces as the walk produces it (MGTextPieces), and
// at least once a second, empty if need be, so that the caller knows it is alive:
// either one line per item that has the access asked about,
//     "rw-<TAB>ENTRY<TAB>PATH", ENTRY the entry that grants it as getfacl names entries
//     (user::, user:NAME, group::, group:NAME, other::, or root), PATH escaped as getfacl does,
// in the walk's order, or with `summary` only the counts per access.
class MGAclAudit : private MGTreeWalker::Visitor
{
public:
    enum class Level { Read, Write, Any };
    using Sink = std::function<void(const QByteArray &text)>;

    MGAclAudit(const MGFileItem &item, const MGAccessSubject &subject, Level level, bool summary, Sink sink);
    void setStopFlag(std::shared_ptr<const std::atomic<bool>> stop) { m_stop = std::move(stop); }
    // Before the text: the folder above the item that keeps the identity out, if any.
    void setBlockedAbove(const QByteArray &folder) { m_blockedAbove = folder; }
    // Names the identity in the summary.
    void setIdentityName(const QString &name) { m_identityName = name; }

    // The number of items looked at, or the error that kept the item itself from being read.
    MGResult<qint64> run();

private:
    struct Counts
    {
        std::atomic<qint64> readWrite = 0, readOnly = 0, writeOnly = 0, none = 0, closedFolders = 0;
    };

    void folder(int, const struct statx &, const QByteArray &) override {}
    bool entersFolder(int fd, const struct statx &status, const QByteArray &path) override;
    void item(MGDescriptor file, const struct statx &status, const QByteArray &path) override;
    // Judges one item; 0 or the errno that kept it from being read. `searchable` answers
    // whether the identity may search it (folders).
    int judge(MGDescriptor item, const struct statx &status, const QByteArray &path, bool *searchable);
    QByteArray summaryText() const;
    QByteArray entryName(const MGAccessEvaluator::Grant &grant);

    const MGFileItem &m_item;
    const MGAccessSubject m_subject;
    const Level m_level;
    const bool m_summary;
    QByteArray m_blockedAbove;
    QString m_identityName;
    std::shared_ptr<const std::atomic<bool>> m_stop;
    std::unique_ptr<MGTreeWalker> m_walker;
    MGAclTextFormat::Names m_names;
    MGTextPieces m_text;
    Counts m_counts;
    std::atomic<qint64> m_items = 0;
};
