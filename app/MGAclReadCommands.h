#pragma once

#include <QByteArray>

// The commands that only read: an item's entries and what someone may do with it, as text
// (MGAclListOutput, MGAclAccessOutput) or JSON.
namespace MGAclReadCommands {
int list(const QByteArray &path, bool json);
int access(const QByteArray &who, const QByteArray &path, bool json);
}
