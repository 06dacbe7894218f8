#pragma once

#include "MGSmbClient.h"

#include <QHash>
#include <QStringList>

// The names a file server gives SIDs ("DOMAIN\name"), asked of its local security authority
// (the "lsarpc" pipe) as the connection's account: for what comes by SID alone, such as a
// share's own permissions.
class MGSmbNames
{
public:
    explicit MGSmbNames(const MGSmbClient &client) : m_client(client) {}

    // Names by SID, for those the server names; at most MaximumSids at a time.
    MGResult<QHash<QString, QString>> namesOf(const QString &server, const QStringList &sids) const;

    static constexpr qsizetype MaximumSids = 1000;

private:
    const MGSmbClient &m_client;
};
