#pragma once

#include "CBIdentity.h"

#include <QHash>
#include <QList>
#include <optional>

// Looks identities up in the system's user and group database (NSS), so accounts from
// LDAP or systemd-userdb appear as well as local ones. Thread-safe.
class CBIdentityAuthority
{
public:
    static CBIdentityAuthority &defaultIdentityAuthority();

    std::optional<CBIdentity> userWithUid(uid_t uid) const;
    std::optional<CBIdentity> groupWithGid(gid_t gid) const;
    // A user or, failing that, a group with this POSIX name.
    std::optional<CBIdentity> identityWithName(const QString &name) const;
    std::optional<CBIdentity> userWithName(const QString &name) const;
    std::optional<CBIdentity> groupWithName(const QString &name) const;
    std::optional<CBIdentity> identityWithUniqueIdentifier(const QUuid &uuid) const;
    // A user or group as people write one: a name (a user before a group of that name),
    // "user:NAME", "group:NAME", or an id as "uid:N" or "gid:N" (which need no account).
    std::optional<CBIdentity> identityForText(const QString &text) const;
    // A user or group with this id; named after its account when the database knows it,
    // by number otherwise (files may carry ids that have no account).
    CBIdentity identityForId(CBIdentity::Class identityClass, quint32 id) const;
    // What userWithUid and groupWithGid answer for each of many ids, found together: the
    // accounts by id, without the ids that have none. Asking for each of thousands of ids
    // would read the whole local database once per id without an account.
    QHash<uid_t, CBIdentity> usersWithUids(const QList<uid_t> &uids) const;
    QHash<gid_t, CBIdentity> groupsWithGids(const QList<gid_t> &gids) const;

    // The logged-in user (the real user id of this process).
    CBIdentity currentUser() const;

    QList<CBIdentity> allUsers() const;
    QList<CBIdentity> allGroups() const;
    // The primary group and every supplementary group of a user.
    QList<gid_t> groupIdsOfUser(const CBIdentity &user) const;

private:
    CBIdentityAuthority() = default;
};
