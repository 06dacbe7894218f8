#pragma once

#include "MGNtSecurityDescriptor.h"

// What an item on a file server inherits from its folder, by the rules such servers apply
// when an item is made or a folder's entries are pushed down:
// - a file takes the folder's object-inherit entries; a folder its container-inherit entries,
//   which pass on further unless marked no-propagate, and its object-inherit-only entries as
//   inherit-only ones that pass on to its files;
// - what applies to the item is marked inherited and loses its inheritance flags; Creator
//   Owner and Creator Group become the item's owner and group there, and stay as themselves
//   in what passes on;
// - entries of kinds the editor cannot show (object, callback) are not passed on here, and an
//   item keeps those it holds, inherited or not.
namespace MGNtInheritance {
inline const QString CreatorOwner = QStringLiteral("S-1-3-0");
inline const QString CreatorGroup = QStringLiteral("S-1-3-1");

// The inherited entries of a folder's (`folder`) or a file's child of a folder holding
// `parent`, in the folder's order.
QList<MGNtAce> inheritedBy(const QList<MGNtAce> &parent, bool folder, const QString &ownerSid, const QString &groupSid);
// `child` with its explicit entries (and those of other kinds) first, as they were, then
// `inherited` in place of the inherited entries it had.
MGNtSecurityDescriptor withInherited(const MGNtSecurityDescriptor &child, const QList<MGNtAce> &inherited);
// The list of an item (`item`, a folder or not) that holds nothing but what it inherits from
// its folder's list (`folder`): its owner and group kept, every entry marked inherited.
MGResult<MGAclList> listInheritedFrom(const MGAclList &folder, const MGAclList &item, bool directory);
}
