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
    bool operator==(const MGNtAce &other) const
    {
        return type == other.type && flags == other.flags && mask == other.mask && sid == other.sid;
    }
};

// The owner, group and access control list of an item on an SMB file server, with the
// text form the server's client library reads and writes, and the entry list the editor
// shows. Nothing here talks to a server.
//
// The text form: "REVISION:1,OWNER:SID,GROUP:SID,ACL:SID:TYPE/FLAGS/MASK,…", the same
// descriptor read once by SIDs and once by names (where a SID gives way to
// "DOMAIN\name"). Masks are written in decimal: the library reads a "0x" mask as 0 when
// it is set through this form.
class MGNtSecurityDescriptor
{
public:
    QString ownerSid, ownerName, groupSid, groupName;
    QList<MGNtAce> aces;

    static constexpr quint32 InheritedFlag = 0x10;
    // The flags of entries on the server that the editor's flags say one for one.
    static constexpr quint32 InheritanceFlags = 0x0F;

    // `bySid` and `byName` are two readings of one descriptor; a pair that does not match
    // entry for entry (the item changed between them) is an error, and the caller reads again.
    static MGResult<MGNtSecurityDescriptor> parse(const QByteArray &bySid, const QByteArray &byName);
    // The form a write takes: SIDs where known, an entry known by name only as "ACL+:NAME"
    // (the server looks it up), masks in decimal. Owner and group only when set.
    QByteArray text() const;

    // The list the editor shows: the ACL's title and its entries in the server's order, then
    // a section with the owner and the group.
    MGAclList list(bool directory) const;
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
    // The same, ignoring the order of entries, repeated equal entries and generic rights
    // given as the rights they stand for: what a server that keeps entries sorted (and maps
    // generic rights) holds after a write of the other.
    bool holdsSameAs(const MGNtSecurityDescriptor &other) const;

    // A mask with its generic rights (read, write, execute, all) replaced by the file rights
    // they stand for.
    static quint32 mapGenericRights(quint32 mask);

    // The title of the section with the owner and the group.
    static QString ownerTitle();
};
