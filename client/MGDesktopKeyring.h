#pragma once

#include "MGServerCredentials.h"

#include <QString>
#include <optional>

// The passwords the desktop keyring keeps for file servers, as file managers store them
// when a user ticks "remember" at their login (the keyring's network-password items: the
// server's name, protocol "smb", the account's user and domain). Asked over the session
// bus; a keyring that is not running is not started, and a locked one is not unlocked:
// neither may bring up a prompt of another program in the middle of a request.
namespace MGDesktopKeyring {
std::optional<MGServerCredentials> serverLogin(const QString &server);
}
