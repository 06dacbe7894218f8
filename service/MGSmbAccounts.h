#pragma once

#include "MGError.h"
#include "MGNtAccessCheck.h"
#include "MGServerCredentials.h"

#include <QString>

// What a file server says of one of its accounts, asked over SMB in the server's own
// account database (the network management calls of Samba's library, loaded when first
// needed): the account's SID, its primary group, the groups it is in and the aliases (local
// groups) those make it a member of. Together with the SIDs of every network login, that is
// the token the server builds when the account logs in, as far as the server tells it:
// Samba's own Unix groups ("S-1-22-…") it does not tell.
class MGSmbAccounts
{
public:
    // The connection logs in as `login` (the user's own credentials when empty).
    explicit MGSmbAccounts(const MGServerCredentials &login) : m_login(login) {}

    // The token of `account` on `server`: a user's or a group's name, with or without the
    // domain ("DOMAIN\name").
    MGResult<MGNtToken> tokenFor(const QString &server, const QString &account) const;

private:
    MGServerCredentials m_login;
};
