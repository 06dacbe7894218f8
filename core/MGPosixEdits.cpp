#include "MGPosixEdits.h"

#include "MGPosixRules.h"

#include <QFile>
#include <cerrno>
#include <sys/stat.h>

namespace MGPosixEdits {

namespace {
MGPosixAcl without(const MGPosixAcl &acl, quint16 tag, quint32 id)
{
    MGPosixAcl result;
    for (const MGPosixAcl::Entry &e : acl.entries()) {
        if (!(e.tag == tag && e.id == id))
            result.set(e.tag, e.perm, e.id);
    }
    return result;
}

MGError refused(const QString &path, const QString &why)
{
    return MGError::posixError(EINVAL, QStringLiteral("Cannot change the permissions of \u201c%1\u201d: %2").arg(path, why));
}
}

MGResult<MGPosixItemState> apply(const MGPosixItemState &state, const QList<MGAclTextFormat::Entry> &set,
                                 const QList<MGAclTextFormat::Entry> &remove, const QString &path)
{
    MGPosixItemState result = state;
    // Per ACL (the item's, then what a folder passes on): whether a change named it, and
    // whether one set or removed its mask.
    bool touched[2] = {false, false}, maskGiven[2] = {false, false};
    QList<MGAclTextFormat::Entry> searchable; // given "X" without "x"
    for (const MGAclTextFormat::Entry &entry : remove) {
        // A file has no entries for new items: there is nothing to remove.
        if (entry.isDefault && !state.isDirectory())
            continue;
        const bool named = entry.tag == MGPosixAcl::User || entry.tag == MGPosixAcl::Group;
        if (!named && entry.tag != MGPosixAcl::Mask)
            return refused(path, QStringLiteral("the owner, owning group and other entries cannot be removed, only changed"));
        MGPosixAcl &acl = entry.isDefault ? result.defaultAcl : result.access;
        acl = without(acl, entry.tag, entry.id);
        touched[entry.isDefault] = true;
        if (entry.tag == MGPosixAcl::Mask)
            maskGiven[entry.isDefault] = true;
    }
    for (const MGAclTextFormat::Entry &entry : set) {
        if (entry.isDefault && !state.isDirectory())
            return refused(path, QStringLiteral("only folders have entries for new items"));
        MGPosixAcl &acl = entry.isDefault ? result.defaultAcl : result.access;
        // A folder's first entry for new items brings the base entries along, from the
        // folder's own ACL, as setfacl does.
        if (entry.isDefault && acl.isEmpty()) {
            const MGPosixAcl own = result.access.isEmpty() ? MGPosixAcl::fromMode(result.mode) : result.access;
            for (quint16 tag : {MGPosixAcl::UserObj, MGPosixAcl::GroupObj, MGPosixAcl::Other})
                acl.set(tag, own.perm(tag).value_or(0));
        }
        acl.set(entry.tag, entry.perm.value_or(0), entry.id);
        if (entry.executeIfSearchable)
            searchable << entry;
        touched[entry.isDefault] = true;
        if (entry.tag == MGPosixAcl::Mask)
            maskGiven[entry.isDefault] = true;
    }
    // "X" is execute for a folder, or where the ACL before the change granted execute to
    // anyone, as setfacl -m decides it.
    for (const MGAclTextFormat::Entry &entry : std::as_const(searchable)) {
        MGPosixAcl &acl = entry.isDefault ? result.defaultAcl : result.access;
        if (state.isDirectory() || state.access.grantsExecute() || (state.access.isEmpty() && (state.mode & 0111)))
            acl.set(entry.tag, acl.perm(entry.tag, entry.id).value_or(0) | 1, entry.id);
    }
    // An ACL a change named gets the mask that limits none of its entries, unless the change
    // gave the mask itself (as setfacl does without -n).
    for (const bool isDefault : {false, true}) {
        MGPosixAcl &acl = isDefault ? result.defaultAcl : result.access;
        if (touched[isDefault] && !maskGiven[isDefault] && (acl.hasNamedEntries() || acl.contains(MGPosixAcl::Mask)))
            acl.set(MGPosixAcl::Mask, acl.groupClassUnion());
        if (acl.hasNamedEntries() && !acl.contains(MGPosixAcl::Mask))
            return refused(path, QStringLiteral("an ACL with entries for users or groups needs its mask"));
    }
    result.mode = (state.mode & ~mode_t(0777)) | result.access.permissionBits();
    return result;
}

MGPosixItemState inherit(const MGPosixItemState &parent, const MGPosixItemState &item, mode_t umask)
{
    MGPosixItemState result = item;
    const mode_t creating = item.isDirectory() ? FolderCreationMode : FileCreationMode;
    if (parent.defaultAcl.isEmpty()) {
        result.access = MGPosixAcl::fromMode(creating & ~umask);
        result.defaultAcl = MGPosixAcl();
    } else {
        result.access = parent.defaultAcl;
        result.access.limitTo(creating);
        result.defaultAcl = item.isDirectory() ? parent.defaultAcl : MGPosixAcl();
    }
    result.mode = (item.mode & ~mode_t(0777)) | result.access.permissionBits();
    return result;
}

mode_t currentUmask()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("Umask:")) {
                bool ok = false;
                const uint value = line.mid(6).trimmed().toUInt(&ok, 8);
                if (ok)
                    return mode_t(value & 0777);
            }
        }
    }
    // Without /proc: asked the only way there is, and given back at once.
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return mask;
}

MGPosixItemState copy(const MGPosixItemState &from, const MGPosixItemState &to)
{
    MGPosixItemState result = to;
    result.access = from.access.isEmpty() ? MGPosixAcl::fromMode(from.mode) : from.access;
    result.defaultAcl = to.isDirectory() ? from.defaultAcl : MGPosixAcl();
    result.mode = (to.mode & ~mode_t(0777)) | result.access.permissionBits();
    return result;
}
}
