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

void followMask(MGPosixAcl &acl, const MGPosixAcl &before, bool maskSet)
{
    if (maskSet || acl.isEmpty() || !acl.hasNamedEntries())
        return;
    const auto mask = acl.perm(MGPosixAcl::Mask);
    acl.set(MGPosixAcl::Mask,
            quint16(MGPosixRules::followingMask(MGPosixRules::groupClass(before), MGPosixRules::groupClass(acl),
                                                mask ? std::optional<int>(*mask) : std::nullopt, false)));
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
    bool accessMaskSet = false, defaultMaskSet = false;
    for (const MGAclTextFormat::Entry &entry : remove) {
        if (entry.isDefault && !state.isDirectory())
            return refused(path, QStringLiteral("only folders have entries for new items"));
        const bool named = entry.tag == MGPosixAcl::User || entry.tag == MGPosixAcl::Group;
        if (!named && !entry.isDefault)
            return refused(path, QStringLiteral("the owner, owning group, mask and other entries of an item cannot be "
                                                "removed, only changed"));
        MGPosixAcl &acl = entry.isDefault ? result.defaultAcl : result.access;
        acl = without(acl, entry.tag, entry.id);
    }
    for (const MGAclTextFormat::Entry &entry : set) {
        if (entry.isDefault && !state.isDirectory())
            return refused(path, QStringLiteral("only folders have entries for new items"));
        MGPosixAcl &acl = entry.isDefault ? result.defaultAcl : result.access;
        // A folder's first entry for new items brings the base entries along, from the
        // folder's own ACL, as setfacl does.
        if (entry.isDefault && acl.isEmpty()) {
            for (quint16 tag : {MGPosixAcl::UserObj, MGPosixAcl::GroupObj, MGPosixAcl::Other})
                acl.set(tag, result.access.perm(tag).value_or(0));
        }
        acl.set(entry.tag, entry.perm.value_or(0), entry.id);
        if (entry.tag == MGPosixAcl::Mask)
            (entry.isDefault ? defaultMaskSet : accessMaskSet) = true;
    }
    followMask(result.access, state.access, accessMaskSet);
    followMask(result.defaultAcl, state.defaultAcl, defaultMaskSet);
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
