#include "MGAclBackup.h"

#include "MGPosixAclStore.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

MGAclBackup::MGAclBackup(const MGFileItem &item, Sink sink, bool itemOnly)
    : m_item(item), m_text(std::move(sink)), m_itemOnly(itemOnly)
{
}

int MGAclBackup::write(MGDescriptor item, const struct statx &status, const QByteArray &path, bool folder)
{
    MGPosixItemState state{status.stx_uid, status.stx_gid, status.stx_mode, {}, {}};
    for (const auto &[name, target] : {std::pair{MGPosixAcl::AccessAttribute, &state.access},
                                       std::pair{MGPosixAcl::DefaultAttribute, &state.defaultAcl}}) {
        if (!folder && target == &state.defaultAcl)
            break;
        QByteArray value;
        if (const int error = MGDescriptors::attribute(item, name, &value))
            return error;
        if (value.isEmpty())
            continue;
        const auto acl = MGPosixAcl::fromXattr(value);
        if (!acl)
            return EILSEQ;
        *target = *acl;
    }
    // getfacl writes an absolute path without its leading slash.
    const QByteArray text = MGAclTextFormat::block(path.startsWith('/') ? path.mid(1) : path, state, m_names);
    ++m_items;
    m_text.add(text);
    return 0;
}

MGResult<qint64> MGAclBackup::run()
{
    const QString failure = QStringLiteral("Cannot back up the permissions of");
    struct statx st;
    if (const int error = m_item.status(&st))
        return m_item.error(error, failure);
    // The item itself first; below a folder, everything the walk reaches.
    if (const int error = write(m_item.handle(), st, m_item.path(), S_ISDIR(st.stx_mode)))
        return m_item.error(error, failure);
    std::optional<MGError> failed;
    if (S_ISDIR(st.stx_mode) && !m_itemOnly) {
        const int fd = openat(m_item.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0) {
            // The folder's own block stands; that its items could not be listed is the error.
            const int error = errno;
            m_text.flush();
            return m_item.error(error, QStringLiteral("Cannot list the items of"));
        }
        MGOrderedWalk walk(
            [this](MGDescriptor item, const struct statx &status, const QByteArray &path) {
                return write(item, status, path, S_ISDIR(status.stx_mode));
            },
            st.stx_mnt_id);
        walk.setStopFlag(m_stop);
        walk.walk(fd, m_item.path());
        close(fd);
        failed = walk.failures().error(QStringLiteral("read"), m_item.shownPath());
    }
    m_text.flush();
    if (failed)
        return *failed;
    return qint64(m_items);
}
