#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>
#include <sys/types.h>

// A POSIX ACL as the kernel stores it in the system.posix_acl_access and
// system.posix_acl_default extended attributes.
class MGPosixAcl
{
public:
    enum Tag : quint16 { UserObj = 0x01, User = 0x02, GroupObj = 0x04, Group = 0x08, Mask = 0x10, Other = 0x20 };
    static constexpr quint32 UndefinedId = 0xFFFFFFFFu;
    static constexpr const char *AccessAttribute = "system.posix_acl_access";
    static constexpr const char *DefaultAttribute = "system.posix_acl_default";

    struct Entry
    {
        quint16 tag;
        quint16 perm; // r 4, w 2, x 1
        quint32 id; // uid or gid for User and Group, UndefinedId otherwise
        bool operator==(const Entry &) const = default;
    };

    MGPosixAcl() = default;
    // The three-entry ACL equivalent to a mode's permission bits.
    static MGPosixAcl fromMode(mode_t mode);
    static std::optional<MGPosixAcl> fromXattr(const QByteArray &value);
    QByteArray toXattr() const;

    const QList<Entry> &entries() const { return m_entries; }
    bool isEmpty() const { return m_entries.isEmpty(); }
    // Adds or replaces the entry with this tag (and id, for named entries).
    void set(quint16 tag, quint16 perm, quint32 id = UndefinedId);
    std::optional<quint16> perm(quint16 tag, quint32 id = UndefinedId) const;
    bool contains(quint16 tag, quint32 id = UndefinedId) const { return perm(tag, id).has_value(); }
    bool hasNamedEntries() const;
    // Only owner, owning group and other: the ACL says no more than the mode bits.
    bool isMinimal() const;
    // Whether a mask limits entries of this tag: named users, named groups and the owning
    // group (the group class).
    static bool isGroupClass(quint16 tag) { return tag == User || tag == Group || tag == GroupObj; }
    // The union of the owning group's and all named entries' permissions, as a new mask.
    quint16 groupClassUnion() const;
    // Whether any entry grants execute (what setfacl's "X" asks of a file).
    bool grantsExecute() const;
    // The mode permission bits (0777) the ACL implies: the mask stands for the group bits.
    mode_t permissionBits() const;
    // Keeps of the owner, the group class (the mask, or the owning group when there is no
    // mask) and other only what the permission bits `mode` allow: what the kernel does to a
    // folder's default ACL for a new item created with that mode (0666 for a file, 0777 for
    // a folder), and what chmod does with bits it takes away.
    void limitTo(mode_t mode);
    bool operator==(const MGPosixAcl &other) const { return sorted().m_entries == other.sorted().m_entries; }

private:
    MGPosixAcl sorted() const;

    QList<Entry> m_entries;
};
