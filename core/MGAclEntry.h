#pragma once

#include "CBIdentity.h"
#include "MGAclPermissionSet.h"

#include <QCborValue>
#include <QHash>
#include <QObject>
#include <memory>

// One entry of an item's permission list: an ACL rule (allow or deny, for a user or group,
// with permissions and inheritance flags), or one of the item's POSIX settings (owner,
// owning group, other, mask), which are not part of the ACL.
//
// Every change of a user-editable property is announced with changed(key) for that key and
// then for each key derived from it, then once with edited(key) for the key that was set.
// addObserver() forwards every changed() to an observer's observeValueForKeyPath(QString,
// QObject*) slot, so an observer hears of each key an edit changes; one that does the same
// work for all of them does it once, for the key that was set (isEditKey()).
class MGAclEntry : public QObject, public std::enable_shared_from_this<MGAclEntry>
{
    Q_OBJECT
    Q_PROPERTY(int tag READ tag WRITE setTag)
    Q_PROPERTY(CBIdentity identity READ identity WRITE setIdentity)
    Q_PROPERTY(quint32 permissions READ permissions WRITE setPermissions)
    Q_PROPERTY(quint32 flags READ flags WRITE setFlags)
    Q_PROPERTY(bool inherited READ inherited WRITE setInherited)
    Q_PROPERTY(qint64 permissionGroup READ permissionGroup WRITE setPermissionGroup)
    Q_PROPERTY(bool isAcl READ isAcl)
    Q_PROPERTY(bool isShallow READ isShallow)
    Q_PROPERTY(qint64 canonicalScore READ canonicalScore)

public:
    using Pointer = std::shared_ptr<MGAclEntry>;

    enum Tag : int { UndefinedTag = 0, Allow = 1, Deny = 2 };
    enum class Kind { Acl = 0, Owner = 1, OwningGroup = 2, Other = 3, Mask = 4 };
    // Where an entry of a folder applies: to the folder itself, only to new items created in
    // it (what it passes on), or to both. Entries of files apply to the file.
    enum class AppliesTo { ThisItem = 1, NewItems = 2, Both = 3 };

    // A new explicit entry to be added to a folder's list (true) or a file's (false).
    static Pointer newEntryForDirectory(bool directory);
    static Pointer aclEntry(int tag, const CBIdentity &identity, quint32 permissions, quint32 flags,
                            bool directory, bool posix);
    // An entry of the POSIX section with r/w/x bits (4, 2, 1).
    static Pointer posixEntry(Kind kind, const CBIdentity &identity, int rwx, bool directory);
    // The owner or owning group of an item whose store names them without permissions.
    static Pointer ownerEntry(Kind kind, const CBIdentity &identity, bool directory);

    Kind kind() const { return m_kind; }
    bool isAcl() const { return m_kind == Kind::Acl; }
    int tag() const { return m_tag; }
    const CBIdentity &identity() const { return m_identity; }
    quint32 permissions() const { return m_permissions; }
    quint32 flags() const { return m_flags; }
    bool inherited() const { return m_flags & MGAclFlag::Inherited; }
    bool isDirectory() const { return m_directory; }
    // Stored in a POSIX ACL: only the r/w/x sets and the flags such an ACL can hold are offered.
    bool isPosix() const { return m_posix; }
    bool isShallow() const { return m_permissions == 0; }
    // The mask: the item's own (in the POSIX section) or the one a folder passes on.
    bool isMask() const;
    // Whether the entry governs the item itself, and whether it passes to new items.
    bool appliesHere() const { return !(m_flags & MGAclFlag::OnlyInherit); }
    bool passesOn() const { return m_flags & (MGAclFlag::FileInherit | MGAclFlag::DirectoryInherit); }
    AppliesTo appliesTo() const;
    // Sets the inheritance flags for a folder's entry; ignored for files and the POSIX section.
    void setAppliesTo(AppliesTo appliesTo);
    qint64 permissionGroup() const;
    qint64 canonicalScore() const;
    // Who the entry is for, as shown: "Owner: alice" and "Group: staff" for the item's owner
    // and owning group, the user's or group's name otherwise.
    QString identityText() const;

    void setTag(int tag);
    void setIdentity(const CBIdentity &identity);
    void setPermissions(quint32 permissions);
    void setFlags(quint32 flags);
    void setInherited(bool inherited);
    // 1 to 5 take that group's permissions; 6 (custom) keeps the permissions and makes
    // permissionGroup read 6 until the permissions change; other codes are ignored.
    void setPermissionGroup(qint64 group);

    // Permission rows for the editor: on when every bit of `mask` is set, off when none is,
    // -1 (mixed) otherwise.
    int permissionState(quint32 mask) const;
    void setPermission(quint32 mask, bool on);
    QList<int> availablePermissionGroups() const;
    QList<MGAclPermissionSet::Item> editablePermissions() const;

    // Turns this entry of a folder's ACL into the copy that a new child folder (or file)
    // inherits, answering whether it passes to such a child at all. Nothing changes when
    // the answer is false.
    bool convertInheritedToDirectoryEntry();
    bool convertInheritedToFileEntry();

    // What a POSIX ACL cannot hold of this entry; empty when it can hold all of it.
    QString posixProblem() const;

    void addObserver(QObject *observer);
    void removeObserver(QObject *observer);
    // While an edit is announced: whether `key` is the one that was set, not one derived from it.
    bool isEditKey(const QString &key) const { return m_editKey && key == QLatin1String(m_editKey); }

    bool isEqual(const MGAclEntry &other) const;
    Pointer copy() const;

    // An entry travels as the list of its fields under a tag of its own, which tells it from
    // any other list.
    static constexpr quint64 CborTag = 0x4D474145; // "MGAE"
    QCborValue toCbor() const;
    static Pointer fromCbor(const QCborValue &value, QString *problem);
    static bool isEncodedEntry(const QCborValue &value) { return value.isTag() && quint64(value.tag()) == CborTag; }

signals:
    void changed(const QString &keyPath);
    void edited(const QString &keyPath);

private:
    MGAclEntry() = default;
    void announce(std::initializer_list<const char *> keys);

    Kind m_kind = Kind::Acl;
    int m_tag = Allow;
    CBIdentity m_identity;
    quint32 m_permissions = 0;
    quint32 m_flags = 0;
    bool m_directory = false;
    bool m_posix = true;
    bool m_customPicked = false;
    const char *m_editKey = nullptr; // the key being announced as set
    QHash<QObject *, QMetaObject::Connection> m_observers;
};
