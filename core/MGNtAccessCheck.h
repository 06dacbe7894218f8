#pragma once

#include "MGNtSecurityDescriptor.h"

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>
#include <algorithm>

// The SIDs a file server puts into an account's token when it logs in: the account's own,
// its groups and aliases, and the well-known ones every network login holds (Everyone,
// Authenticated Users, Network). Some memberships the server does not tell (its own Unix
// groups, "S-1-22-…"): entries naming those cannot be decided from outside.
struct MGNtToken
{
    QString userSid;
    QSet<QString> sids;
    // Aliases the server names but whose SIDs it does not give, by name (lower case).
    QSet<QString> aliasNames;
    // SIDs that begin so, and aliases of these names (lower case), may or may not be the
    // account's (the server does not say).
    QStringList unknownPrefixes{QStringLiteral("S-1-22-")};
    QSet<QString> unknownNames;
    // The server's names for SIDs of the token, where it gave them.
    QHash<QString, QString> names;
    // The privileges the server gives the token's SIDs ("SeTakeOwnershipPrivilege", …).
    QSet<QString> privileges;

    bool holds(const QString &sid) const { return sids.contains(sid); }
    // Whether an entry names the token: by SID, or an alias by its name ("DOMAIN\alias").
    bool holds(const MGNtAce &ace) const
    {
        return holds(ace.sid) || (!aliasNames.isEmpty() && aliasNames.contains(ace.name.section(QLatin1Char('\\'), -1).toLower()));
    }
    bool mayHold(const MGNtAce &ace) const
    {
        if (holds(ace))
            return false;
        if (std::any_of(unknownPrefixes.begin(), unknownPrefixes.end(), [&ace](const QString &prefix) { return ace.sid.startsWith(prefix); }))
            return true;
        if (ace.name.isEmpty())
            // An alias of the server's own known by name only cannot be told from its SID.
            return (!aliasNames.isEmpty() || !unknownNames.isEmpty()) && !userSid.isEmpty()
                && ace.sid.startsWith(userSid.section(QLatin1Char('-'), 0, -2) + QLatin1Char('-'));
        return !unknownNames.isEmpty() && unknownNames.contains(ace.name.section(QLatin1Char('\\'), -1).toLower());
    }
    // The well-known SIDs of every account logged in over the network.
    static QSet<QString> networkLoginSids();
    // The names servers give them.
    static QHash<QString, QString> networkLoginNames();
};

// The access check a file server runs over an item's access control list for a token,
// right by right: entries that apply to the item only (inherit-only ones do not), in the
// list's order, the first that names the right and the token decides it (Deny refuses,
// Allow grants), generic rights counted as the rights they stand for. The owner may always
// read and change the permissions, unless an "Owner Rights" entry says what the owner may.
// The privilege to take ownership grants that right whatever the entries say. A right no
// entry names is refused.
class MGNtAccessCheck
{
public:
    struct Decision
    {
        enum Source { Entry, Owner, NoEntry, Unknown, Server, Privilege } source = NoEntry;
        bool granted = false;
        int ace = -1; // Entry and Unknown: the entry's index in the list
    };
    // One right (one bit of the access mask).
    static Decision decide(const MGNtSecurityDescriptor &descriptor, const MGNtToken &token, quint32 right);

    static inline const QString OwnerRights = QStringLiteral("S-1-3-4");
    static inline const QString TakeOwnership = QStringLiteral("SeTakeOwnershipPrivilege");
};
