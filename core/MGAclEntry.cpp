#include "MGAclEntry.h"

#include "CBIdentityAuthority.h"
#include "MGCborReader.h"
#include "NTLocalizedString.h"

#include <QCborMap>

namespace {
constexpr qsizetype MaximumNameLength = 1024;
}

MGAclEntry::Pointer MGAclEntry::newEntryForDirectory(bool directory)
{
    // A folder's new entry applies to the folder and is passed on to everything created in
    // it, which is what people expect when they grant someone access to a folder.
    const quint32 flags = directory ? MGAclFlag::FileInherit | MGAclFlag::DirectoryInherit : 0;
    const CBIdentity user = CBIdentityAuthority::defaultIdentityAuthority().currentUser();
    return aclEntry(Allow, user, MGAclPermissionSet::groupPermissions(MGAclPermissionSet::Read, directory), flags,
                    directory, true);
}

MGAclEntry::Pointer MGAclEntry::aclEntry(int tag, const CBIdentity &identity, quint32 permissions, quint32 flags,
                                         bool directory, bool posix)
{
    Pointer entry(new MGAclEntry);
    entry->m_tag = tag;
    entry->m_identity = identity;
    entry->m_permissions = permissions;
    entry->m_flags = flags;
    entry->m_directory = directory;
    entry->m_posix = posix;
    return entry;
}

MGAclEntry::Pointer MGAclEntry::posixEntry(Kind kind, const CBIdentity &identity, int rwx, bool directory)
{
    Pointer entry = aclEntry(Allow, identity, MGAclPermissionSet::fromPosixBits(rwx, directory), 0, directory, true);
    entry->m_kind = kind;
    return entry;
}

MGAclEntry::Pointer MGAclEntry::ownerEntry(Kind kind, const CBIdentity &identity, bool directory)
{
    Pointer entry = aclEntry(Allow, identity, 0, 0, directory, false);
    entry->m_kind = kind;
    return entry;
}

qint64 MGAclEntry::permissionGroup() const
{
    if (m_customPicked)
        return MGAclPermissionSet::Custom;
    return MGAclPermissionSet::groupForPermissions(m_permissions, m_directory, m_posix);
}

qint64 MGAclEntry::canonicalScore() const
{
    // Explicit entries before inherited ones, and within each, deny before allow.
    return (inherited() ? 0 : 2) + (m_tag == Deny ? 1 : 0);
}

QString MGAclEntry::identityText() const
{
    const QString acl = QStringLiteral("ACL");
    switch (m_kind) {
    case Kind::Owner:
        return NTLocalizedString::localize(QStringLiteral("Owner"), acl) + QStringLiteral(": ") + m_identity.displayName();
    case Kind::OwningGroup:
        return NTLocalizedString::localize(QStringLiteral("Group"), acl) + QStringLiteral(": ") + m_identity.displayName();
    default:
        return m_identity.displayName();
    }
}

bool MGAclEntry::isMask() const
{
    return isAcl() ? m_identity.identityClass() == CBIdentity::Class::MaskSpecial : m_kind == Kind::Mask;
}

MGAclEntry::AppliesTo MGAclEntry::appliesTo() const
{
    if (!isAcl() || !m_directory || !passesOn())
        return AppliesTo::ThisItem;
    return appliesHere() ? AppliesTo::Both : AppliesTo::NewItems;
}

void MGAclEntry::setAppliesTo(AppliesTo appliesTo)
{
    using namespace MGAclFlag;
    if (!isAcl() || !m_directory)
        return;
    quint32 flags = m_flags & ~quint32(Inheritance);
    if (appliesTo != AppliesTo::ThisItem)
        flags |= FileInherit | DirectoryInherit;
    if (appliesTo == AppliesTo::NewItems)
        flags |= OnlyInherit;
    setFlags(flags);
}

void MGAclEntry::announce(std::initializer_list<const char *> keys)
{
    const char *const outer = m_editKey;
    m_editKey = *keys.begin();
    for (const char *key : keys)
        emit changed(QString::fromLatin1(key));
    emit edited(QString::fromLatin1(*keys.begin()));
    m_editKey = outer;
}

void MGAclEntry::setTag(int tag)
{
    if (tag == m_tag)
        return;
    m_tag = tag;
    announce({"tag", "canonicalScore"});
}

void MGAclEntry::setIdentity(const CBIdentity &identity)
{
    if (identity == m_identity && identity.posixName() == m_identity.posixName())
        return;
    m_identity = identity;
    announce({"identity"});
}

void MGAclEntry::setPermissions(quint32 permissions)
{
    const bool wasCustom = m_customPicked;
    m_customPicked = false;
    if (permissions == m_permissions) {
        if (wasCustom)
            announce({"permissionGroup"});
        return;
    }
    m_permissions = permissions;
    announce({"permissions", "permissionGroup", "isShallow"});
}

void MGAclEntry::setFlags(quint32 flags)
{
    if (flags == m_flags)
        return;
    const bool inheritedChanged = (flags ^ m_flags) & MGAclFlag::Inherited;
    m_flags = flags;
    if (inheritedChanged)
        announce({"flags", "inherited", "canonicalScore", "appliesTo"});
    else
        announce({"flags", "appliesTo"});
}

void MGAclEntry::setInherited(bool inherited)
{
    setFlags(inherited ? m_flags | MGAclFlag::Inherited : m_flags & ~quint32(MGAclFlag::Inherited));
}

void MGAclEntry::setPermissionGroup(qint64 group)
{
    if (group == MGAclPermissionSet::Custom) {
        if (!m_customPicked) {
            m_customPicked = true;
            announce({"permissionGroup"});
        }
        return;
    }
    if (!availablePermissionGroups().contains(int(group)))
        return;
    setPermissions(MGAclPermissionSet::groupPermissions(int(group), m_directory));
}

int MGAclEntry::permissionState(quint32 mask) const
{
    const quint32 held = m_permissions & mask;
    if (held == mask)
        return 1;
    return held == 0 ? 0 : -1;
}

void MGAclEntry::setPermission(quint32 mask, bool on)
{
    setPermissions(on ? m_permissions | mask : m_permissions & ~mask);
}

QList<int> MGAclEntry::availablePermissionGroups() const
{
    return MGAclPermissionSet::availableGroups(m_directory, m_posix);
}

QList<MGAclPermissionSet::Item> MGAclEntry::editablePermissions() const
{
    return MGAclPermissionSet::editableItems(m_directory, m_posix);
}

bool MGAclEntry::convertInheritedToDirectoryEntry()
{
    using namespace MGAclFlag;
    if (!isAcl())
        return false;
    quint32 flags = m_flags;
    if (flags & DirectoryInherit) {
        // A limited entry stops at the child: it applies there and passes on no further.
        flags &= (flags & LimitInherit) ? ~quint32(Inheritance) : ~quint32(OnlyInherit);
    } else if ((flags & FileInherit) && !(flags & LimitInherit)) {
        // Meant for files only: the child folder carries it on to the files below it
        // without being governed by it itself.
        flags |= OnlyInherit;
    } else {
        return false;
    }
    setFlags(flags | Inherited);
    return true;
}

bool MGAclEntry::convertInheritedToFileEntry()
{
    using namespace MGAclFlag;
    if (!isAcl() || !(m_flags & FileInherit))
        return false;
    // A file has no children, so its copy keeps no inheritance flags; and its permissions
    // are a file's (a folder's write also lets its users delete what is inside).
    if (m_directory) {
        m_directory = false;
        const auto rwx = MGAclPermissionSet::toPosixBits(m_permissions, true);
        m_permissions = rwx ? MGAclPermissionSet::fromPosixBits(*rwx, false)
                            : m_permissions & ~quint32(MGAclPermission::DeleteChild);
        announce({"permissions", "permissionGroup", "isShallow"});
    }
    setFlags((m_flags & ~quint32(Inheritance)) | Inherited);
    return true;
}

QString MGAclEntry::posixProblem() const
{
    using namespace MGAclFlag;
    if (!isAcl())
        return MGAclPermissionSet::isPosixRepresentable(m_permissions, m_directory)
            ? QString()
            : QStringLiteral("permissions other than read, write and execute");
    if (m_tag != Allow)
        return m_tag == Deny ? QStringLiteral("a Deny entry") : QStringLiteral("an entry of undefined kind");
    if (!m_identity.isValid())
        return QStringLiteral("an entry without a user or group");
    if (!MGAclPermissionSet::isPosixRepresentable(m_permissions, m_directory))
        return QStringLiteral("permissions other than read, write and execute");
    const quint32 inheritance = m_flags & Inheritance;
    // The owner, group, everyone and mask principals exist in a POSIX ACL only as what a
    // folder passes on; for the item itself they are its POSIX settings.
    if (m_identity.isSpecial() && (!m_directory || inheritance != (FileInherit | DirectoryInherit | OnlyInherit)))
        return QStringLiteral("an owner, group, everyone or mask entry that applies to the item itself");
    if (!m_directory && inheritance)
        return QStringLiteral("inheritance flags on a file");
    if (m_directory && inheritance && inheritance != (FileInherit | DirectoryInherit)
        && inheritance != (FileInherit | DirectoryInherit | OnlyInherit))
        return QStringLiteral("inheritance to only files, only folders or one level");
    return QString();
}

void MGAclEntry::addObserver(QObject *observer)
{
    if (!observer || m_observers.contains(observer))
        return;
    m_observers.insert(observer, connect(this, &MGAclEntry::changed, observer, [this, observer](const QString &key) {
        QMetaObject::invokeMethod(observer, "observeValueForKeyPath", Qt::DirectConnection,
                                  Q_ARG(QString, key), Q_ARG(QObject *, this));
    }));
}

void MGAclEntry::removeObserver(QObject *observer)
{
    const auto it = m_observers.find(observer);
    if (it == m_observers.end())
        return;
    disconnect(*it);
    m_observers.erase(it);
}

bool MGAclEntry::isEqual(const MGAclEntry &other) const
{
    return m_kind == other.m_kind && m_tag == other.m_tag && m_identity == other.m_identity
        && m_permissions == other.m_permissions && m_flags == other.m_flags;
}

MGAclEntry::Pointer MGAclEntry::copy() const
{
    Pointer entry = aclEntry(m_tag, m_identity, m_permissions, m_flags, m_directory, m_posix);
    entry->m_kind = m_kind;
    return entry;
}

namespace {
// An entry travels as the list of its fields in this order: a list of thousands of entries
// then costs a fraction of what maps with named fields cost to write and read.
enum Field { KindField, TagField, ClassField, IdField, NameField, FullNameField, PermissionsField, FlagsField,
             DirectoryField, PosixField, SidField, FieldCount };
}

QCborValue MGAclEntry::toCbor() const
{
    return QCborValue(QCborTag(CborTag), QCborArray{int(m_kind),
                      m_tag,
                      int(m_identity.identityClass()),
                      qint64(m_identity.posixID()),
                      m_identity.posixName(),
                      m_identity.fullName(),
                      qint64(m_permissions),
                      qint64(m_flags),
                      m_directory,
                      m_posix,
                      m_identity.sid()});
}

MGAclEntry::Pointer MGAclEntry::fromCbor(const QCborValue &value, QString *problem)
{
    static const QString names[FieldCount] = {
        QStringLiteral("entry kind"),        QStringLiteral("entry tag"),   QStringLiteral("entry identity class"),
        QStringLiteral("entry identity id"), QStringLiteral("entry name"),  QStringLiteral("entry full name"),
        QStringLiteral("entry permissions"), QStringLiteral("entry flags"), QStringLiteral("entry directory mark"),
        QStringLiteral("entry POSIX mark"),  QStringLiteral("entry SID")};
    MGCborReader read(problem);
    if (!isEncodedEntry(value)) {
        read.fail(QStringLiteral("an entry is not tagged as one"));
        return nullptr;
    }
    const auto fields = read.array(value.taggedValue(), QStringLiteral("entry"), FieldCount);
    if (!fields)
        return nullptr;
    if (fields->size() != FieldCount) {
        read.fail(QStringLiteral("entry has %1 fields, not %2").arg(fields->size()).arg(int(FieldCount)));
        return nullptr;
    }
    const auto at = [&](Field field) { return fields->at(field); };
    const auto kind = read.integer(at(KindField), {names[KindField]}, 0, int(Kind::Mask));
    const auto tag = read.integer(at(TagField), {names[TagField]}, INT32_MIN, INT32_MAX);
    const auto identityClass = read.integer(at(ClassField), {names[ClassField]}, 0, CBIdentity::LastClass);
    const auto id = read.integer(at(IdField), {names[IdField]}, 0, UINT32_MAX);
    const auto name = read.text(at(NameField), names[NameField], MaximumNameLength);
    const auto fullName = read.text(at(FullNameField), names[FullNameField], MaximumNameLength);
    // A file server's entries keep bits the editor has no box for (generic rights).
    const auto permissions = read.bits(at(PermissionsField), {names[PermissionsField]}, 0xFFFFFFFF);
    const auto flags = read.bits(at(FlagsField), {names[FlagsField]}, MGAclFlag::All);
    const auto directory = read.boolean(at(DirectoryField), {names[DirectoryField]});
    const auto posix = read.boolean(at(PosixField), {names[PosixField]});
    const auto sid = read.text(at(SidField), names[SidField], MaximumNameLength);
    if (!read.ok())
        return nullptr;
    // Only a file server's entries hold bits beyond the editor's own (generic rights).
    if (*posix && (*permissions & ~quint32(MGAclPermission::All))) {
        read.fail(QStringLiteral("%1 holds bits a POSIX entry cannot have").arg(names[PermissionsField]));
        return nullptr;
    }
    const CBIdentity who = CBIdentity::Class(*identityClass) == CBIdentity::Class::Principal
        ? CBIdentity::principal(*sid, *name)
        : CBIdentity(CBIdentity::Class(*identityClass), quint32(*id), *name, *fullName == *name ? QString() : *fullName);
    Pointer entry = aclEntry(int(*tag), who, *permissions, *flags, *directory, *posix);
    entry->m_kind = Kind(*kind);
    return entry;
}
