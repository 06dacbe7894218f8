#include "MGAclPropagator.h"

#include "MGChangeBlockers.h"

#include "MGPosixAclStore.h"
#include "MGPosixEdits.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

MGAclPropagator::MGAclPropagator(const MGFileItem &folder, MGAclList folderEntries)
    : m_item(folder), m_path(folder.shownPath()), m_entries(std::move(folderEntries))
{
}

MGAclPropagator::Summary MGAclPropagator::summary() const
{
    Summary summary;
    summary.changed = m_changed;
    summary.alreadyRight = m_alreadyRight;
    summary.hardLinks = m_hardLinks;
    summary.dryRun = m_dryRun;
    summary.stopped = m_wasStopped;
    if (m_walker) {
        const MGTreeWalker::Counts counts = m_walker->counts();
        summary.links = counts.links;
        summary.otherMounts = counts.otherMounts;
        summary.special = counts.special;
        summary.changedWhileWalking = counts.changedWhileWalking;
        summary.failed = counts.failed;
        summary.failedPaths = counts.failedPaths;
    }
    return summary;
}

void MGAclPropagator::setProgressHandler(ProgressHandler handler, std::chrono::milliseconds interval)
{
    m_progress = std::move(handler);
    m_progressInterval = interval;
}




MGResultError MGAclPropagator::prepare(mode_t folderMode)
{
    // The folder's own list must be storable; its state gives owner, group and bits.
    MGPosixItemState folder;
    folder.mode = folderMode;
    const MGResult<MGPosixItemState> state = MGPosixLists::stateFromList(m_entries, folder, m_path);
    if (!state)
        return state.error();
    m_owner = state->owner;
    m_group = state->group;

    // What a child inherits: the converted copies of the folder's ACL entries. The base
    // entries (owner, group, other, mask) are the folder's own; what the folder passes on
    // for them stays in a child folder's default ACL only.
    auto childList = [this, &state](bool directory) {
        MGAclList list;
        for (const MGAclEntry::Pointer &entry : MGAclLists::aclEntries(m_entries)) {
            MGAclEntry::Pointer copy = entry->copy();
            const bool passes = directory ? copy->convertInheritedToDirectoryEntry() : copy->convertInheritedToFileEntry();
            if (!passes)
                continue;
            copy->setInherited(false); // POSIX ACLs keep no inherited mark
            if (copy->identity().isSpecial() && !(copy->flags() & MGAclFlag::OnlyInherit))
                continue;
            list << copy;
        }
        return list;
    };
    auto toTemplate = [&](const MGAclList &aclPart, bool directory) -> MGResult<MGPosixItemState> {
        MGAclList list = aclPart;
        for (const MGAclItem &item : m_entries) {
            const MGAclEntry *entry = MGAclLists::entryOf(item);
            if (entry && !entry->isAcl())
                list << entry->copy();
        }
        MGPosixItemState child;
        child.mode = directory ? S_IFDIR : S_IFREG;
        return MGPosixLists::stateFromList(list, child, m_path);
    };
    const MGResult<MGPosixItemState> folderChild = toTemplate(childList(true), true);
    if (!folderChild)
        return folderChild.error();
    const MGResult<MGPosixItemState> fileChild = toTemplate(childList(false), false);
    if (!fileChild)
        return fileChild.error();
    const auto toTemplate2 = [](const MGPosixAcl &access, const MGPosixAcl &defaults) {
        return Template{access.toXattr(), defaults.isEmpty() ? QByteArray() : defaults.toXattr(), access.isMinimal(),
                        access.permissionBits()};
    };
    m_folder = toTemplate2(folderChild->access, folderChild->defaultAcl);
    m_executable = toTemplate2(fileChild->access, {});
    MGPosixAcl plain = fileChild->access;
    plain.limitTo(MGPosixEdits::FileCreationMode);
    m_plain = toTemplate2(plain, {});
    return std::nullopt;
}

MGResultError MGAclPropagator::run()
{
    const QString failure = QStringLiteral("Cannot propagate the permissions of");
    struct statx st;
    if (const int error = m_item.status(&st))
        return m_item.error(error, failure);
    if (!S_ISDIR(st.stx_mode))
        return m_item.error(ENOTDIR, failure);
    m_walker.reset(new MGTreeWalker(this, st.stx_mnt_id));
    m_walker->setStopFlag(m_stop);
    if (m_progress)
        m_walker->setProgressHandler(
            [this](const QByteArray &folder) {
                Summary sofar = summary();
                sofar.folder = folder;
                m_progress(sofar);
            },
            m_progressInterval);
    if (m_expected) {
        const MGResult<MGPosixItemState> current = MGPosixAclStore::readState(m_item);
        if (!current)
            return current.error();
        if (auto changed = MGPosixLists::changedSince(*current, *m_expected, failure, m_path))
            return *changed;
    }
    if (MGResultError error = prepare(st.stx_mode))
        return error;
    // Marked items inside the tree only fail themselves; a read-only file system fails all.
    if (!m_dryRun) {
        if (MGResultError blocked = m_item.changeBlocker(failure, MGChangeBlockers::Scope::FileSystem))
            return blocked;
    }
    // The folder itself, for reading: the same inode as the resolved item.
    const int fd = openat(m_item.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return m_item.error(errno, failure);
    m_walker->walk(fd, m_item.path());
    m_wasStopped = m_walker->stopped();
    return m_walker->failures(QStringLiteral("changed"), m_path);
}

int MGAclPropagator::isRight(MGDescriptor item, const struct statx &status, const Template &wanted, bool folder, bool *right) const
{
    *right = false;
    if (status.stx_uid != m_owner || status.stx_gid != m_group)
        return 0;
    QByteArray access;
    if (const int error = MGDescriptors::attribute(item, MGPosixAcl::AccessAttribute, &access))
        return error;
    // The kernel keeps an ACL of owner, group and other alone as the mode bits, and gives
    // a stored ACL back in the order it was written, which is the order it must have.
    const bool accessRight = wanted.minimal ? access.isEmpty() && (status.stx_mode & 0777) == wanted.bits
                                            : access == wanted.access;
    if (!accessRight)
        return 0;
    if (folder) {
        QByteArray defaults;
        if (const int error = MGDescriptors::attribute(item, MGPosixAcl::DefaultAttribute, &defaults))
            return error;
        if (defaults != wanted.defaults)
            return 0;
    }
    *right = true;
    return 0;
}

bool MGAclPropagator::countsOnly(MGDescriptor item, const struct statx &status, const Template &wanted, bool folder,
                                 const QByteArray &shownPath)
{
    bool right = false;
    if (const int error = isRight(item, status, wanted, folder, &right)) {
        m_walker->fail(shownPath, error);
        return true;
    }
    if (right) {
        ++m_alreadyRight;
        return true;
    }
    if (m_dryRun) {
        ++m_changed;
        return true;
    }
    return false;
}

void MGAclPropagator::folder(int fd, const struct statx &status, const QByteArray &shownPath)
{
    if (countsOnly(MGDescriptor::opened(fd), status, m_folder, true, shownPath))
        return;
    if ((status.stx_uid != m_owner || status.stx_gid != m_group) && fchown(fd, m_owner, m_group) != 0)
        return m_walker->fail(shownPath, errno);
    if (fsetxattr(fd, MGPosixAcl::AccessAttribute, m_folder.access.constData(), size_t(m_folder.access.size()), 0) != 0)
        return m_walker->fail(shownPath, errno);
    if (m_folder.defaults.isEmpty()) {
        if (fremovexattr(fd, MGPosixAcl::DefaultAttribute) != 0 && errno != ENODATA)
            return m_walker->fail(shownPath, errno);
    } else if (fsetxattr(fd, MGPosixAcl::DefaultAttribute, m_folder.defaults.constData(),
                         size_t(m_folder.defaults.size()), 0)
               != 0) {
        return m_walker->fail(shownPath, errno);
    }
    ++m_changed;
}

void MGAclPropagator::item(MGDescriptor file, const struct statx &status, const QByteArray &shownPath)
{
    // Another name of this file may lie outside the tree; changing it would change that too.
    if (status.stx_nlink > 1) {
        ++m_hardLinks;
        return;
    }
    // Like chmod's X: files keep execute permission only where they had some.
    const Template &acl = (status.stx_mode & 0111) ? m_executable : m_plain;
    if (countsOnly(file, status, acl, false, shownPath))
        return;
    if (status.stx_uid != m_owner || status.stx_gid != m_group) {
        if (const int error = MGDescriptors::changeOwner(file, m_owner, m_group))
            return m_walker->fail(shownPath, error);
    }
    if (const int error = MGDescriptors::setAttribute(file, MGPosixAcl::AccessAttribute, acl.access))
        return m_walker->fail(shownPath, error);
    ++m_changed;
}

