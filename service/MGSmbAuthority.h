#pragma once

#include "MGSmbClient.h"

#include <QHash>
#include <QSet>
#include <QStringList>

// A file server's local security authority (its "lsarpc" pipe), asked as the connection's
// account: the names it gives SIDs ("DOMAIN\name"), for what comes by SID alone such as a
// share's own permissions; the SIDs it gives names, for entries written by name; and the
// rights and privileges it gives accounts and groups, which its access check counts beside
// the entries.
class MGSmbAuthority
{
public:
    explicit MGSmbAuthority(const MGSmbClient &client) : m_client(client) {}

    // Names by SID, for those the server names; at most MaximumSids at a time.
    MGResult<QHash<QString, QString>> namesOf(const QString &server, const QStringList &sids) const;
    // SIDs by name ("DOMAIN\name", "name"), for those the server knows; at most MaximumSids.
    MGResult<QHash<QString, QString>> sidsOf(const QString &server, const QStringList &names) const;
    // The rights and privileges ("SeTakeOwnershipPrivilege", …) given to any of the SIDs.
    MGResult<QSet<QString>> rightsOf(const QString &server, const QStringList &sids) const;

    static constexpr qsizetype MaximumSids = 1000;

private:
    const MGSmbClient &m_client;
};
