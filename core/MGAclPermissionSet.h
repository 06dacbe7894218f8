#pragma once

#include <QList>
#include <QString>
#include <optional>

// Permission bits of an ACL entry. The values are those of the NFSv4 access mask, so a
// native NFSv4 store can take them over unchanged.
namespace MGAclPermission {
enum : quint32 {
    ReadData = 0x000001, // list folder
    WriteData = 0x000002, // add file
    AppendData = 0x000004, // add subfolder
    ReadNamedAttributes = 0x000008,
    WriteNamedAttributes = 0x000010,
    Execute = 0x000020, // traverse folder
    DeleteChild = 0x000040,
    ReadAttributes = 0x000080,
    WriteAttributes = 0x000100,
    Delete = 0x010000,
    ReadAcl = 0x020000,
    WriteAcl = 0x040000,
    WriteOwner = 0x080000,
    Synchronize = 0x100000,
    All = 0x1F01FF,
};
}

// Inheritance flags of an ACL entry (NFSv4 ACE flag values).
namespace MGAclFlag {
enum : quint32 {
    FileInherit = 0x01,
    DirectoryInherit = 0x02,
    LimitInherit = 0x04, // passes one level down only
    OnlyInherit = 0x08, // does not apply to the item itself
    Inherited = 0x80,
    All = 0x8F,
    Inheritance = FileInherit | DirectoryInherit | LimitInherit | OnlyInherit,
};
}

// The named permission groups, the POSIX r/w/x bundles and the permission rows that the
// editor offers. Everything here depends on whether the entry belongs to a folder and
// whether it is stored in a POSIX ACL, which holds only r, w and x.
class MGAclPermissionSet
{
public:
    enum Group { Undefined = 0, FullControl = 1, ReadWrite = 2, Read = 3, Write = 4, NoAccess = 5, Custom = 6 };

    // What every user who can reach an item may do anyway (look at it, read its ACL);
    // POSIX grants it implicitly, so it is part of every POSIX-held set.
    static constexpr quint32 Always =
        MGAclPermission::ReadAttributes | MGAclPermission::ReadAcl | MGAclPermission::Synchronize;

    static quint32 readBundle();
    static quint32 writeBundle(bool directory);
    static quint32 executeBundle();

    // The permission set of a named group (1 to 5); 0 for any other code.
    static quint32 groupPermissions(int group, bool directory);
    // The first named group whose set equals `permissions`, Custom when none does.
    static int groupForPermissions(quint32 permissions, bool directory, bool posix);
    // The named groups an entry may take, in the order of their codes.
    static QList<int> availableGroups(bool directory, bool posix);

    // POSIX r/w/x (4, 2, 1) to a permission set and back.
    static quint32 fromPosixBits(int rwx, bool directory);
    // The r/w/x bits of a set; nullopt when the set is not exactly a POSIX-held set.
    static std::optional<int> toPosixBits(quint32 permissions, bool directory);
    static bool isPosixRepresentable(quint32 permissions, bool directory)
    {
        return toPosixBits(permissions, directory).has_value();
    }
    // "rwx" for POSIX-held sets, with "-" for a missing permission; the hexadecimal mask
    // in braces for any other set.
    static QString shortText(quint32 permissions, bool directory);

    // One row of the permission editor: a text key (table "ACL") and the bits it stands for.
    struct Item
    {
        QString key;
        quint32 mask;
    };
    static QList<Item> editableItems(bool directory, bool posix);
    // The key (table "ACL") naming one permission bit on a folder or a file; empty for a
    // bit that does not apply to that kind of item.
    static QString permissionKey(quint32 bit, bool directory);
};
