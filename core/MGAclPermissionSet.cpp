#include "MGAclPermissionSet.h"

#include <optional>

using namespace MGAclPermission;

quint32 MGAclPermissionSet::readBundle()
{
    return ReadData | ReadNamedAttributes;
}

quint32 MGAclPermissionSet::writeBundle(bool directory)
{
    // Write permission on a folder lets its users delete what is in it.
    return WriteData | AppendData | WriteNamedAttributes | (directory ? quint32(DeleteChild) : 0u);
}

quint32 MGAclPermissionSet::executeBundle()
{
    return Execute;
}

quint32 MGAclPermissionSet::groupPermissions(int group, bool directory)
{
    // Folders need traverse permission for anything inside them to be reachable.
    const quint32 traverse = directory ? executeBundle() : 0;
    switch (group) {
    case FullControl:
        return Always | readBundle() | writeBundle(directory) | executeBundle() | WriteAttributes | Delete | WriteAcl
            | WriteOwner;
    case ReadWrite:
        return Always | readBundle() | writeBundle(directory) | traverse;
    case Read:
        return Always | readBundle() | traverse;
    case Write:
        return Always | writeBundle(directory) | traverse;
    case NoAccess:
        return Always;
    default:
        return 0;
    }
}

QList<int> MGAclPermissionSet::availableGroups(bool directory, bool posix)
{
    QList<int> groups;
    for (int group = FullControl; group <= NoAccess; ++group) {
        if (!posix || isPosixRepresentable(groupPermissions(group, directory), directory))
            groups << group;
    }
    return groups;
}

int MGAclPermissionSet::groupForPermissions(quint32 permissions, bool directory, bool posix)
{
    for (int group : availableGroups(directory, posix)) {
        if (groupPermissions(group, directory) == permissions)
            return group;
    }
    return Custom;
}

quint32 MGAclPermissionSet::fromPosixBits(int rwx, bool directory)
{
    return Always | ((rwx & 4) ? readBundle() : 0) | ((rwx & 2) ? writeBundle(directory) : 0)
        | ((rwx & 1) ? executeBundle() : 0);
}

std::optional<int> MGAclPermissionSet::toPosixBits(quint32 permissions, bool directory)
{
    int rwx = 0;
    rwx |= (permissions & readBundle()) ? 4 : 0;
    rwx |= (permissions & writeBundle(directory)) ? 2 : 0;
    rwx |= (permissions & executeBundle()) ? 1 : 0;
    if (fromPosixBits(rwx, directory) != permissions)
        return std::nullopt;
    return rwx;
}

QString MGAclPermissionSet::shortText(quint32 permissions, bool directory)
{
    const auto rwx = toPosixBits(permissions, directory);
    if (!rwx)
        return QStringLiteral("{%1}").arg(permissions, 6, 16, QLatin1Char('0'));
    return QString(QLatin1Char((*rwx & 4) ? 'r' : '-')) + QLatin1Char((*rwx & 2) ? 'w' : '-')
        + QLatin1Char((*rwx & 1) ? 'x' : '-');
}

namespace {
// The name of each permission bit on a file and on a folder, in the order the editor lists
// them; nothing where the bit does not apply to that kind of item.
struct Label
{
    quint32 bit;
    const char *file;
    const char *folder;
};
constexpr Label Labels[] = {
    {ReadData, "Read Data", "List Folder"},
    {WriteData, "Write Data", "Create Files"},
    {AppendData, "Append Data", "Create Folders"},
    {ReadNamedAttributes, "Read Extended Attributes", "Read Extended Attributes"},
    {WriteNamedAttributes, "Write Extended Attributes", "Write Extended Attributes"},
    {Execute, "Execute", "Traverse Folder"},
    {DeleteChild, nullptr, "Delete Subfolders and Files"},
    {ReadAttributes, "Read Attributes", "Read Attributes"},
    {WriteAttributes, "Write Attributes", "Write Attributes"},
    {Delete, "Delete", "Delete"},
    {ReadAcl, "Read Permissions", "Read Permissions"},
    {WriteAcl, "Change Permissions", "Change Permissions"},
    {WriteOwner, "Take Ownership", "Take Ownership"},
    {Synchronize, "Synchronize", "Synchronize"},
};
}

QString MGAclPermissionSet::permissionKey(quint32 bit, bool directory)
{
    for (const Label &label : Labels) {
        if (label.bit == bit)
            return QString::fromLatin1(directory ? label.folder : label.file);
    }
    return QString();
}

QList<MGAclPermissionSet::Item> MGAclPermissionSet::editableItems(bool directory, bool posix)
{
    if (posix) {
        return {{QStringLiteral("Read"), readBundle()},
                {QStringLiteral("Write"), writeBundle(directory)},
                {permissionKey(Execute, directory), executeBundle()}};
    }
    QList<Item> items;
    for (const Label &label : Labels) {
        if (const char *key = directory ? label.folder : label.file)
            items << Item{QString::fromLatin1(key), label.bit};
    }
    return items;
}
