#pragma once

#include "MGAclList.h"
#include "MGPosixAcl.h"

#include <QHash>
#include <optional>

// The rules of POSIX ACLs that the window and the command line both follow, kept here once:
// which entries a mask limits and what the mask becomes when they change, which mask limits
// an entry, and that an ACL holds one entry per user or group for the item and one for
// what a folder passes on. (Where an entry applies and which entry is the mask are the
// entry's own answers: MGAclEntry::appliesHere, passesOn, appliesTo, isMask.)
namespace MGPosixRules {
// The entries a mask limits (named users, named groups and the owning group) as sorted
// (tag, id, permissions) triples, comparable between two versions of an ACL.
using GroupClass = QList<MGPosixAcl::Entry>;
GroupClass groupClass(const MGPosixAcl &acl);
// The group class of a list's ACL for the item (`inheritable` false) or of what a folder
// passes on (`inheritable` true).
GroupClass groupClass(const MGAclList &list, bool inheritable);
// The r/w/x union of a group class: the mask that limits none of its entries.
int unionOf(const GroupClass &members);

// The mask after an edit, as setfacl keeps it: while the entries it limits are as they were
// (or the user asked to keep it), the mask as it was; once they change, the mask that limits
// none of them. A mask that was set by hand is not passed here: it stays as set.
int followingMask(const GroupClass &before, const GroupClass &now, std::optional<int> maskBefore, bool keepMask);

// The list's mask for the item (in the POSIX section) or the one a folder passes on.
MGAclEntry *maskEntry(const MGAclList &list, bool inheritable);
// Which mask limits an entry: the item's (false) or the one passed on (true); nothing for
// the owner, other, the mask itself and entries a mask does not limit.
std::optional<bool> limitingMaskScope(const MGAclEntry &entry);
// Whether a mask limits the entry in one of the two places a folder's entry may apply: the
// folder itself (the item's mask), or the new items it passes the entry on to (the mask it
// passes on). An entry for both answers to both masks, which may differ.
bool answersToMask(const MGAclEntry &entry, bool forNewItems);
// For each entry of `list` that grants more now only because its mask was raised since
// `reverted` was read (the entry itself is as it was read): the r/w/x bits it gained.
QHash<const MGAclEntry *, int> maskGains(const MGAclList &list, const MGAclList &reverted);

// Which users and groups already have an entry, for the item and for what a folder passes
// on; built once per list, asked once per identity.
class IdentityUse
{
public:
    explicit IdentityUse(const MGAclList &list);
    // Whether `entry` (of the list this was made from) may be for `who` and apply as given
    // without a second entry for the same user or group serving the same purpose.
    bool allows(const MGAclEntry &entry, const CBIdentity &who, bool appliesHere, bool passesOn) const;
    // allows() for the entry's own scope.
    bool isTaken(const CBIdentity &who, const MGAclEntry &entry) const
    {
        return !allows(entry, who, entry.appliesHere(), entry.passesOn());
    }

private:
    using Key = std::pair<int, quint32>;
    QHash<Key, int> m_here;
    QHash<Key, int> m_passedOn;
};
}
