#include "MGAclAudit.h"

#include "MGPosixAclStore.h"
#include "NTLocalizedString.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

MGAclAudit::MGAclAudit(const MGFileItem &item, const MGAccessSubject &subject, Level level, bool summary, Sink sink)
    : m_item(item), m_subject(subject), m_level(level), m_summary(summary), m_text(std::move(sink))
{
}

QByteArray MGAclAudit::entryName(const MGAccessEvaluator::Grant &grant)
{
    using Grant = MGAccessEvaluator::Grant;
    switch (grant.source) {
    case Grant::Root:
        return "root";
    case Grant::Owner:
        return "user::";
    case Grant::NamedUser:
        return "user:" + m_names.user(grant.id);
    case Grant::OwningGroup:
        return "group::";
    case Grant::NamedGroup:
        return "group:" + m_names.group(grant.id);
    case Grant::Other:
        return "other::";
    }
    return "other::";
}

int MGAclAudit::judge(MGDescriptor item, const struct statx &status, const QByteArray &path, bool *searchable)
{
    MGPosixItemState state{status.stx_uid, status.stx_gid, status.stx_mode, {}, {}};
    QByteArray value;
    if (const int error = MGDescriptors::attribute(item, MGPosixAcl::AccessAttribute, &value))
        return error;
    if (!value.isEmpty()) {
        const auto acl = MGPosixAcl::fromXattr(value);
        if (!acl)
            return EILSEQ;
        state.access = *acl;
    }
    ++m_items;
    const MGAccessEvaluator::Grant read = MGAccessEvaluator::decide(state, m_subject, 4);
    const MGAccessEvaluator::Grant write = MGAccessEvaluator::decide(state, m_subject, 2);
    const MGAccessEvaluator::Grant search = MGAccessEvaluator::decide(state, m_subject, 1);
    const bool execute = search.granted;
    if (searchable) {
        *searchable = execute;
        if (!execute)
            ++m_counts.closedFolders;
    }
    (read.granted ? (write.granted ? m_counts.readWrite : m_counts.readOnly)
                  : (write.granted ? m_counts.writeOnly : m_counts.none))++;
    const MGAccessEvaluator::Grant *shown = nullptr;
    switch (m_level) {
    case Level::Read:
        shown = read.granted ? &read : nullptr;
        break;
    case Level::Write:
        shown = write.granted ? &write : nullptr;
        break;
    case Level::Any:
        shown = read.granted ? &read : write.granted ? &write : execute ? &search : nullptr;
        break;
    }
    if (!shown || m_summary)
        return 0;
    QByteArray line;
    line.reserve(path.size() + 32);
    line += read.granted ? 'r' : '-';
    line += write.granted ? 'w' : '-';
    line += execute ? 'x' : '-';
    line += '\t' + entryName(*shown) + '\t' + MGAclTextFormat::escapePath(path) + '\n';
    m_text.add(line);
    return 0;
}

bool MGAclAudit::entersFolder(int fd, const struct statx &status, const QByteArray &path)
{
    bool searchable = false;
    if (const int error = judge(MGDescriptor::opened(fd), status, path, &searchable)) {
        m_walker->fail(path, error);
        return false;
    }
    return searchable;
}

void MGAclAudit::item(MGDescriptor file, const struct statx &status, const QByteArray &path)
{
    if (const int error = judge(file, status, path, nullptr))
        m_walker->fail(path, error);
}

QByteArray MGAclAudit::summaryText() const
{
    auto t = [](const char *key) { return NTLocalizedString::localize(QString::fromUtf8(key), QStringLiteral("ACL")); };
    QString text = t("# What \u201c%1\u201d may do with %2 items below \u201c%3\u201d")
                       .arg(m_identityName, NTLocalizedString::count(qint64(m_items)), m_item.shownPath())
        + QLatin1Char('\n');
    // The heading is for people; the rows' words are for scripts, the same in every language.
    const QList<std::pair<const char *, qint64>> rows = {{"read-write", m_counts.readWrite},
                                                         {"read-only", m_counts.readOnly},
                                                         {"write-only", m_counts.writeOnly},
                                                         {"neither", m_counts.none},
                                                         {"not-entered", m_counts.closedFolders}};
    for (const auto &[word, count] : rows)
        text += QStringLiteral("%1\t%2\n").arg(QLatin1String(word)).arg(count);
    return text.toUtf8();
}

MGResult<qint64> MGAclAudit::run()
{
    const QString failure = QStringLiteral("Cannot audit the permissions of");
    struct statx st;
    if (const int error = m_item.status(&st))
        return m_item.error(error, failure);
    if (!S_ISDIR(st.stx_mode) && !S_ISREG(st.stx_mode))
        return m_item.error(EINVAL, failure);
    if (!m_blockedAbove.isEmpty()) {
        // Nothing here is within the identity's reach: nothing is looked at.
        m_text.add(NTLocalizedString::localize(QStringLiteral("# \u201c%1\u201d cannot enter the folder \u201c%2\u201d on this item's "
                                                       "path: nothing here is within their reach."),
                                        QStringLiteral("ACL"))
                .arg(m_identityName, QString::fromUtf8(m_blockedAbove))
                .toUtf8()
            + '\n');
        m_text.flush();
        return qint64(0);
    }
    bool searchable = false;
    if (const int error = judge(m_item.handle(), st, m_item.path(), S_ISDIR(st.stx_mode) ? &searchable : nullptr))
        return m_item.error(error, failure);
    if (searchable) {
        const int fd = openat(m_item.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            return m_item.error(errno, failure);
        m_walker.reset(new MGTreeWalker(this, st.stx_mnt_id));
        m_walker->setStopFlag(m_stop);
        m_walker->setProgressHandler([this](const QByteArray &) { m_text.flush(true); }, std::chrono::seconds(1));
        m_walker->walk(fd, m_item.path());
    }
    if (m_summary)
        m_text.add(summaryText());
    m_text.flush(true);
    if (m_walker) {
        if (std::optional<MGError> failed = m_walker->failures(QStringLiteral("read"), m_item.shownPath()))
            return *failed;
    }
    return qint64(m_items);
}
