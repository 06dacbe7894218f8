#pragma once

#include "MGAclList.h"
#include "MGError.h"

#include <QByteArray>
#include <QList>
#include <QString>

// One access control entry of a file server's item, as the server holds it.
struct MGNtAce
{
    enum Type : int { Allowed = 0, Denied = 1 };
    int type = Allowed;
    quint32 flags = 0; // object-inherit 0x1, container-inherit 0x2, no-propagate 0x4, inherit-only 0x8, inherited 0x10
    quint32 mask = 0;
    QString sid;
    QString name; // the server's name for the SID; empty when it has none
    // The whole entry as the server holds it, for a kind the editor cannot show (object,
    // callback, …): kept as it is, never shown, never dropped.
    QByteArray raw = {};
    bool isOtherKind() const { return !raw.isEmpty(); }
    bool operator==(const MGNtAce &other) const
    {
        return type == other.type && flags == other.flags && mask == other.mask && sid == other.sid && raw == other.raw;
    }
};

// The owner, group and access control list of an item on an SMB file server, with the
// text form the server's client library reads, and the entry list the editor
// shows. Nothing here talks to a server.
//
// The text form the server's client library reads: "REVISION:1,OWNER:SID,GROUP:SID,
// ACL:SID:TYPE/FLAGS/MASK,…", by SIDs or by names (where a SID gives way to "DOMAIN\name").
// Writes take the binary form (MGNtBinaryDescriptor).
class MGNtSecurityDescriptor
{
public:
    QString ownerSid, ownerName, groupSid, groupName;
    QList<MGNtAce> aces;
    // The descriptor's control flags as the server keeps them; a write keeps them.
    quint16 control = 0;

    // The item takes no entries from the folder above it (set on the server, by a client
    // that turned inheritance off).
    static constexpr quint16 ProtectedFlag = 0x1000;
    bool isProtected() const { return control & ProtectedFlag; }

    static constexpr quint32 InheritedFlag = 0x10;
    // The flags of entries on the server that the editor's flags say one for one.
    static constexpr quint32 InheritanceFlags = 0x0F;

    // `bySid` and `byName` are two readings of one descriptor; a pair that does not match
    // entry for entry (the item changed between them) is an error, and the caller reads again.
    static MGResult<MGNtSecurityDescriptor> parse(const QByteArray &bySid, const QByteArray &byName);
    // The server's names for owner, group and entries, from a reading by name of the same
    // descriptor (the same kinds, flags and masks in the same order, or an error).
    MGResultError takeNames(const QByteArray &byName);

    // The list the editor shows: the ACL's title and its entries in the server's order, then
    // a section with the owner and the group. Entries of other kinds are not in it; the
    // section's title says how many there are.
    MGAclList list(bool directory) const;
    // Without its entries of other kinds: what a list read from it describes.
    MGNtSecurityDescriptor shown() const;
    qsizetype otherKinds() const;
    // With the entries of other kinds `held` has, each put back after the entry it followed
    // there (or, where that is gone, after as many entries as came before it); one that has
    // such entries already keeps its own.
    MGNtSecurityDescriptor keepingOtherKinds(const MGNtSecurityDescriptor &held) const;
    // The descriptor a list describes; a list with entries no server can hold (a local
    // account, an empty identity, a POSIX mask) is refused, naming the entry.
    static MGResult<MGNtSecurityDescriptor> fromList(const MGAclList &list);

    // Its size in the binary form servers keep, which may not pass 64 KiB; an entry known
    // by name only is counted at the largest size a SID takes.
    qsizetype binarySize() const;
    static constexpr qsizetype MaximumBinarySize = 65535;

    // Whether every deny entry comes before every allow entry, explicit before inherited.
    bool isCanonical() const;
    // The same owner, group and entries, in the same order.
    bool operator==(const MGNtSecurityDescriptor &other) const
    {
        return ownerSid == other.ownerSid && groupSid == other.groupSid && aces == other.aces;
    }
    // The same, generic rights given as the rights they stand for: what a server that maps
    // generic rights holds after a write of the other.
    bool holdsSameAs(const MGNtSecurityDescriptor &other) const;

    // A mask with its generic rights (read, write, execute, all) replaced by the file rights
    // they stand for.
    static quint32 mapGenericRights(quint32 mask);

    // The title of the section with the owner and the group, which also says when the item is
    // protected from inheritance and how many entries of other kinds it keeps.
    static QString ownerTitle(bool protectedItem, qsizetype otherKinds = 0);
};
