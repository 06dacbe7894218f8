#include "MGAclBackup.h"

#include "MGPosixAclStore.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

MGAclBackup::MGAclBackup(const MGFileItem &item, Sink sink) : m_item(item), m_text(std::move(sink))
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

void MGAclBackup::folder(int fd, const struct statx &status, const QByteArray &path)
{
    if (const int error = write(MGDescriptor::opened(fd), status, path, true))
        m_walker->fail(path, error);
}

void MGAclBackup::item(MGDescriptor file, const struct statx &status, const QByteArray &path)
{
    if (const int error = write(file, status, path, false))
        m_walker->fail(path, error);
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
    if (S_ISDIR(st.stx_mode)) {
        const int fd = openat(m_item.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            return m_item.error(errno, failure);
        m_walker.reset(new MGTreeWalker(this, st.stx_mnt_id));
        m_walker->setStopFlag(m_stop);
        m_walker->walk(fd, m_item.path());
    }
    m_text.flush();
    if (m_walker) {
        if (std::optional<MGError> failed = m_walker->failures(QStringLiteral("read"), m_item.shownPath()))
            return *failed;
    }
    return qint64(m_items);
}
