#include "MGSmbAudit.h"

#include "MGAclPermissionSet.h"
#include "MGSmbAccess.h"
#include "MGSmbShareSecurity.h"
#include "NTLocalizedString.h"

#include <QUrl>
#include <cerrno>

MGSmbAudit::MGSmbAudit(const MGSmbAclStore &store, const MGNtToken &token, Level level, bool summary, Sink sink)
    : m_store(store), m_token(token), m_level(level), m_summary(summary), m_text(std::move(sink))
{
}

void MGSmbAudit::judge(const QByteArray &url, const MGNtSecurityDescriptor &descriptor)
{
    using namespace MGAclPermission;
    MGNtAccessCheck::Decision read = MGNtAccessCheck::decide(descriptor, m_token, ReadData);
    MGNtAccessCheck::Decision write = MGNtAccessCheck::decide(descriptor, m_token, WriteData);
    bool execute = MGNtAccessCheck::decide(descriptor, m_token, Execute).granted;
    // What the share refuses, no entry grants.
    if (m_shareGrants) {
        read.granted = read.granted && (*m_shareGrants & ReadData);
        write.granted = write.granted && (*m_shareGrants & WriteData);
        execute = execute && (*m_shareGrants & Execute);
    }
    ++m_items;
    (read.granted && write.granted ? m_readWrite : read.granted ? m_readOnly : write.granted ? m_writeOnly : m_none)++;
    const bool shown = m_level == Level::Read ? read.granted : m_level == Level::Write ? write.granted : read.granted || write.granted;
    if (m_summary || !shown)
        return;
    // The entry that gives the access asked about (reading, when any access was asked about).
    const MGNtAccessCheck::Decision &deciding = m_level == Level::Write || !read.granted ? write : read;
    QByteArray entry = "owner";
    if (deciding.source == MGNtAccessCheck::Decision::Entry) {
        QString name = descriptor.aces[deciding.ace].name;
        // Read by SIDs alone: the server's name for the entry is asked only for a line shown.
        if (name.isEmpty()) {
            if (const MGResult<MGNtSecurityDescriptor> named = m_store.readDescriptor(url);
                named && named->aces.size() == descriptor.aces.size())
                name = named->aces[deciding.ace].name;
        }
        entry = (name.isEmpty() ? descriptor.aces[deciding.ace].sid : name).toUtf8();
    }
    QByteArray line;
    line += read.granted ? 'r' : '-';
    line += write.granted ? 'w' : '-';
    line += execute ? 'x' : '-';
    line += '\t' + entry + '\t' + MGAclTextFormat::escapePath(url) + '\n';
    m_text.add(line);
}

bool MGSmbAudit::needsNames() const
{
    // Aliases known by name only are matched by the entries' names.
    return !m_token.aliasNames.isEmpty() || !m_token.unknownNames.isEmpty();
}

void MGSmbAudit::fail(const MGError &error)
{
    ++m_failed;
    if (!m_firstFailure)
        m_firstFailure = error;
    m_serverGone = m_serverGone || MGSmbClient::serverIsGone(error);
}

void MGSmbAudit::walk(const QByteArray &url)
{
    const MGResult<QList<MGSmbClient::Child>> children = m_store.client().children(url);
    if (!children) {
        fail(children.error());
        return;
    }
    for (const MGSmbClient::Child &child : *children) {
        if ((m_stop && m_stop->load()) || m_serverGone)
            return;
        const QByteArray below = url + '/' + QUrl::toPercentEncoding(QString::fromUtf8(child.name));
        const MGResult<MGNtSecurityDescriptor> descriptor = m_store.readDescriptor(below, needsNames());
        if (!descriptor) {
            fail(descriptor.error());
            continue;
        }
        judge(below, *descriptor);
        m_text.flush();
        if (child.directory)
            walk(below);
    }
}

MGResult<qint64> MGSmbAudit::run(const QByteArray &url)
{
    const MGResult<MGNtSecurityDescriptor> descriptor = m_store.readDescriptor(url, needsNames());
    if (!descriptor)
        return descriptor.error();
    using namespace MGAclPermission;
    const std::optional<MGNtSecurityDescriptor> share = MGSmbShareSecurity(m_store.client()).shownDescriptorFor(url);
    if (share) {
        m_shareGrants = 0;
        for (const quint32 right : {ReadData, WriteData, Execute})
            *m_shareGrants |= MGSmbAccess::decideOnShare(*share, m_token, right).decision.granted ? right : 0;
    } else {
        m_text.add((QStringLiteral("# ") + MGSmbShareSecurity::notCounted() + QLatin1Char('\n')).toUtf8());
    }
    judge(url, *descriptor);
    const MGResult<struct stat> status = m_store.client().status(url);
    if (status && S_ISDIR(status->st_mode))
        walk(url);
    if (m_summary) {
        auto t = [](const char *key) { return NTLocalizedString::localize(QString::fromUtf8(key), QStringLiteral("ACL")); };
        QString text = t("# What \u201c%1\u201d may do with %2 items below \u201c%3\u201d")
                           .arg(m_identityName, NTLocalizedString::count(m_items), MGSmbClient::shown(url))
            + QLatin1Char('\n');
        const QList<std::pair<const char *, qint64>> rows = {
            {"read-write", m_readWrite}, {"read-only", m_readOnly}, {"write-only", m_writeOnly}, {"neither", m_none}, {"not-entered", 0}};
        for (const auto &[word, count] : rows)
            text += QStringLiteral("%1\t%2\n").arg(QLatin1String(word)).arg(count);
        m_text.add(text.toUtf8());
    }
    m_text.flush(true);
    if (m_serverGone)
        return MGError::errorWithError(*m_firstFailure, QStringLiteral("The audit below \u201c%1\u201d ended after %2 items: "
                                                                       "the server stopped answering")
                                                            .arg(MGSmbClient::shown(url))
                                                            .arg(m_items));
    if (m_firstFailure)
        return MGError::errorWithError(*m_firstFailure, QStringLiteral("Cannot audit the permissions of %1 items below \u201c%2\u201d")
                                                            .arg(m_failed)
                                                            .arg(MGSmbClient::shown(url)));
    return m_items;
}
