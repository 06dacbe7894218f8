#include "MGPosixAclStore.h"

#include "MGAclCapacity.h"
#include "MGChangeBlockers.h"

#include "CBIdentityAuthority.h"
#include "NTLocalizedString.h"

#include <algorithm>
#include <cerrno>

using Set = MGAclPermissionSet;

namespace {
const QString &ReadFailure = MGPosixAclStore::ReadFailure;
const QString &WriteFailure = MGPosixAclStore::WriteFailure;

// The ACL an attribute holds, or `fallback` when the item has none.
MGResult<MGPosixAcl> readAcl(const MGFileItem &item, const char *name, const MGPosixAcl &fallback)
{
    QByteArray value;
    if (const int error = MGDescriptors::attribute(item.handle(), name, &value))
        return item.error(error, ReadFailure);
    if (value.isEmpty())
        return fallback;
    const auto acl = MGPosixAcl::fromXattr(value);
    if (!acl)
        return item.error(EILSEQ, ReadFailure);
    return *acl;
}

}

MGResult<MGPosixItemState> MGPosixAclStore::readState(const MGFileItem &item)
{
    struct statx st;
    if (const int error = item.status(&st))
        return item.error(error, ReadFailure);
    MGPosixItemState state{st.stx_uid, st.stx_gid, st.stx_mode, MGPosixAcl::fromMode(st.stx_mode), {}};
    // Links have no ACL of their own (and are never resolved to be asked).
    if (S_ISLNK(st.stx_mode))
        return state;
    const MGResult<MGPosixAcl> access = readAcl(item, MGPosixAcl::AccessAttribute, state.access);
    if (!access)
        return access.error();
    state.access = *access;
    if (state.isDirectory()) {
        const MGResult<MGPosixAcl> defaults = readAcl(item, MGPosixAcl::DefaultAttribute, MGPosixAcl());
        if (!defaults)
            return defaults.error();
        state.defaultAcl = *defaults;
    }
    return state;
}

MGResult<MGAclList> MGPosixAclStore::read(const MGFileItem &item)
{
    const MGResult<MGPosixItemState> state = readState(item);
    if (!state)
        return state.error();
    return MGPosixLists::listFromState(*state);
}

MGResult<MGAclList> MGPosixAclStore::read(const QString &path)
{
    const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(path), ReadFailure);
    if (!item)
        return item.error();
    return read(*item);
}

namespace {
bool sameState(const MGPosixItemState &a, const MGPosixItemState &b)
{
    const bool sameAccess = (a.access.isMinimal() && b.access.isMinimal()) || a.access == b.access;
    return a.owner == b.owner && a.group == b.group && (a.mode & 07777) == (b.mode & 07777) && sameAccess
        && (!a.isDirectory() || a.defaultAcl == b.defaultAcl);
}

// Applies `target` over `current` on the item, changing only what differs.
MGResultError apply(const MGFileItem &item, const MGPosixItemState &current, const MGPosixItemState &target)
{
    const MGDescriptor fd = item.handle();
    auto failed = [&](int error) {
        if (error == ENOSPC || error == E2BIG) {
            const auto named = [](const MGPosixAcl &acl) {
                return int(std::count_if(acl.entries().cbegin(), acl.entries().cend(), [](const MGPosixAcl::Entry &entry) {
                    return entry.tag == MGPosixAcl::User || entry.tag == MGPosixAcl::Group;
                }));
            };
            return MGAclCapacity::tooLarge(item, error, WriteFailure, std::max(named(target.access), named(target.defaultAcl)));
        }
        if (error == EOPNOTSUPP)
            return MGError::posixError(error, QStringLiteral("%1 \u201c%2\u201d: the file system it is on keeps no ACLs.")
                                                  .arg(WriteFailure, item.shownPath()));
        return item.error(error, WriteFailure);
    };
    if (target.owner != current.owner || target.group != current.group) {
        if (const int error = MGDescriptors::changeOwner(fd, target.owner, target.group))
            return failed(error);
    }
    if (target.access.isMinimal()) {
        if (!current.access.isMinimal()) {
            if (const int error = MGDescriptors::removeAttribute(fd, MGPosixAcl::AccessAttribute))
                return failed(error);
        }
    } else if (!(target.access == current.access)) {
        if (const int error = MGDescriptors::setAttribute(fd, MGPosixAcl::AccessAttribute, target.access.toXattr()))
            return failed(error);
    }
    if (target.isDirectory() && !(target.defaultAcl == current.defaultAcl)) {
        const int error = target.defaultAcl.isEmpty()
            ? MGDescriptors::removeAttribute(fd, MGPosixAcl::DefaultAttribute)
            : MGDescriptors::setAttribute(fd, MGPosixAcl::DefaultAttribute, target.defaultAcl.toXattr());
        if (error)
            return failed(error);
    }
    // Setting an ACL sets the permission bits; a change of owner may have cleared the
    // set-id bits. One chmod puts the mode exactly where the target wants it.
    struct statx st;
    if (const int error = item.status(&st))
        return failed(error);
    if ((st.stx_mode & 07777) != (target.mode & 07777)) {
        if (const int error = MGDescriptors::changeMode(fd, target.mode & 07777))
            return failed(error);
    }
    return std::nullopt;
}
}

MGResultError MGPosixAclStore::write(const MGFileItem &item, const MGAclList &list)
{
    return write(item, list, std::nullopt);
}

MGResultError MGPosixAclStore::write(const MGFileItem &item, const MGAclList &list, const std::optional<MGAclList> &expected,
                                     std::optional<mode_t> specialBits)
{
    const MGResult<MGPosixItemState> current = readState(item);
    if (!current)
        return current.error();
    if (expected) {
        if (auto changed = MGPosixLists::changedSince(*current, *expected, WriteFailure, item.shownPath()))
            return *changed;
    }
    if (MGResultError kind = MGChangeBlockers::kindBlocker(current->mode, WriteFailure, item.shownPath()))
        return kind;
    MGResult<MGPosixItemState> target = MGPosixLists::stateFromList(list, *current, item.shownPath());
    if (!target)
        return target.error();
    if (specialBits)
        target->mode = (target->mode & ~mode_t(S_ISUID | S_ISGID | S_ISVTX)) | (*specialBits & (S_ISUID | S_ISGID | S_ISVTX));
    if (sameState(*current, *target))
        return std::nullopt;
    if (MGResultError blocked = item.changeBlocker(WriteFailure))
        return blocked;
    if (MGFileItem::changesOthersFiles()) {
        if (MGResultError linked = item.loneName(WriteFailure))
            return linked;
    }
    MGResultError error = apply(item, *current, *target);
    if (error) {
        // Put back what was changed before the failure; the first error is the one to report.
        const MGResult<MGPosixItemState> now = readState(item);
        if (now)
            apply(item, *now, *current);
    }
    return error;
}

MGResultError MGPosixAclStore::write(const QString &path, const MGAclList &list)
{
    const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(path), WriteFailure);
    if (!item)
        return item.error();
    return write(*item, list);
}
