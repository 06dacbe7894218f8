#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QUrl>

// The text commands for items on SMB file servers (smb://SERVER/SHARE/PATH): list, set and
// remove, with entries in the form MGNtEntryText reads. The others say why they do not apply.
namespace MGAclServerCommands {
int list(const QUrl &url, bool json);
int set(const QUrl &url, const QByteArrayList &entries);
int remove(const QUrl &url, const QByteArrayList &entries);
// The status, and on standard error why, for a command that does not take server items.
int notForServers(const QByteArray &command);
}
