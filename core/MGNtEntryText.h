#pragma once

#include "MGAclList.h"
#include "MGNtSecurityDescriptor.h"

#include <QString>
#include <optional>

// Entries of a file server's ACL as text, in the form file-server tools use:
// "ACL:NAME:TYPE/FLAGS/MASK", with TYPE "ALLOWED" or "DENIED"; FLAGS "OI", "CI", "NP", "IO"
// and "I" (inherited) joined by "|", or a number, "0x0" for none; MASK "READ", "CHANGE" or
// "FULL", letters of "RWXDPO", or a number ("0x001200a9"). NAME is the server's name for the
// account ("DOMAIN\name", "Everyone") or its SID. Without ":TYPE/FLAGS/MASK" an entry names
// only its account (for removing all its entries).
namespace MGNtEntryText {
struct Entry
{
    QString who;
    std::optional<MGNtAce> ace; // its type, flags and mask; none for an account alone
};
std::optional<Entry> parse(const QString &text, QString *why);
QString format(const MGNtAce &ace);
QString flagsText(quint32 flags);
QString maskText(quint32 mask);

// The explicit entries of `list` whose account is `who` (its SID, its whole name, or its name
// within the server's domain, in any case).
bool names(const MGAclEntry &entry, const QString &who);

// `list` with `entry` set: explicit entries of the same account, type and inheritance flags
// give way to it, and it goes where canonical order puts it. A folder's or a file's list.
void set(MGAclList &list, const MGNtAce &ace, const QString &who);
// `list` without the explicit entries `entry` names; how many went.
int remove(MGAclList &list, const Entry &entry);
}
