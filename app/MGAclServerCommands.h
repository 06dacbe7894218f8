#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QUrl>

// The text commands for items on SMB file servers (smb://SERVER/SHARE/PATH): list, set and
// remove, with entries in the form MGNtEntryText reads; access. The others say why they do not apply.
namespace MGAclServerCommands {
int list(const QUrl &url, bool json);
int set(const QUrl &url, const QByteArrayList &entries);
int remove(const QUrl &url, const QByteArrayList &entries);
// What the server's account `who` (a user's or group's name) may do with the item, as the
// server decides it.
int access(const QByteArray &who, const QUrl &url, bool json);
// Where below the item the server's account `who` has the access `level` ("read", "write",
// "any"), as the server decides it.
int audit(const QByteArray &who, const QUrl &url, const QString &level, bool summary, bool json);
// The status, and on standard error why, for a command that does not take server items.
int notForServers(const QByteArray &command);
}
