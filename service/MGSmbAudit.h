#pragma once

#include "MGAclAudit.h"
#include "MGNtAccessCheck.h"
#include "MGSmbAclStore.h"

// Finds where an account of a file server may read or write below one of its folders: the
// folder and everything below it, depth first, each item judged by the server's own access
// check for the account's token (MGNtAccessCheck), and the share's own permissions where the
// server shows them (where it does not, the text says so first). Servers let an account pass through
// folders it may not open (traversal is not checked), so every item below is judged.
//
// The text is the local audit's: one line per item with the access asked about,
//     "rwx<TAB>ENTRY<TAB>URL", r List Folder or Read Data, w Create Files or Write Data,
//     x Traverse Folder or Execute, ENTRY the server's name for the entry that decides (the
//     owner's own right: "owner"), URL escaped as paths are,
// or with `summary` the counts per access. It goes to the sink as the walk makes it.
class MGSmbAudit
{
public:
    using Level = MGAclAudit::Level;
    using Sink = MGAclAudit::Sink;

    MGSmbAudit(const MGSmbAclStore &store, const MGNtToken &token, Level level, bool summary, Sink sink);
    void setStopFlag(std::shared_ptr<const std::atomic<bool>> stop) { m_stop = std::move(stop); }
    void setIdentityName(const QString &name) { m_identityName = name; }

    // The number of items judged, or the error that kept the folder itself from being read;
    // items below that could not be read are counted, and the first named, in an error after
    // the text.
    MGResult<qint64> run(const QByteArray &url);

private:
    void judge(const QByteArray &url, const MGNtSecurityDescriptor &descriptor);
    void walk(const QByteArray &url);
    void fail(const MGError &error);
    bool needsNames() const;

    const MGSmbAclStore &m_store;
    const MGNtToken m_token;
    // The share's own permissions: what the account may do on the share at all, where known.
    std::optional<quint32> m_shareGrants;
    const Level m_level;
    const bool m_summary;
    MGTextPieces m_text;
    std::shared_ptr<const std::atomic<bool>> m_stop;
    QString m_identityName;
    qint64 m_items = 0, m_readWrite = 0, m_readOnly = 0, m_writeOnly = 0, m_none = 0, m_failed = 0;
    std::optional<MGError> m_firstFailure;
    bool m_serverGone = false; // the walk ends there
};
