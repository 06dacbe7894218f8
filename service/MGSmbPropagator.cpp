#include "MGSmbPropagator.h"

#include "MGNtInheritance.h"

#include <QUrl>

namespace {
// The walk goes down this far at most: deeper trees are reported, not walked.
constexpr int MaximumDepth = 256;
}

MGSmbPropagator::MGSmbPropagator(const MGSmbAclStore &store, QByteArray url, MGAclList entries)
    : m_store(store), m_url(std::move(url)), m_entries(std::move(entries))
{
}

void MGSmbPropagator::setProgressHandler(ProgressHandler handler, std::chrono::milliseconds interval)
{
    m_progress = std::move(handler);
    m_interval = interval;
}

void MGSmbPropagator::report(const QByteArray &folder)
{
    if (!m_progress || std::chrono::steady_clock::now() - m_lastReport < m_interval)
        return;
    m_lastReport = std::chrono::steady_clock::now();
    m_summary.folder = folder;
    m_progress(m_summary);
}

void MGSmbPropagator::fail(const QByteArray &item, const MGError &error)
{
    if (!m_serverGone && MGSmbClient::serverIsGone(error))
        m_serverGone = MGError::errorWithError(error, QStringLiteral("The propagation ended at \u201c%1\u201d: the server "
                                                                     "stopped answering. What was changed before stays "
                                                                     "changed; the rest was not walked")
                                                          .arg(MGSmbClient::shown(item)));
    ++m_summary.failed;
    if (m_summary.failedPaths.size() < MGPropagationProgress::ReportedPaths)
        m_summary.failedPaths << QStringLiteral("%1: %2").arg(MGSmbClient::shown(item), error.fullDescription());
}

MGResultError MGSmbPropagator::run()
{
    const MGResult<MGNtSecurityDescriptor> wanted = MGNtSecurityDescriptor::fromList(m_entries);
    if (!wanted)
        return wanted.error();
    // The folder first, as its own save would be: only while it holds what was read.
    if (!m_summary.dryRun) {
        if (const MGResultError error = m_store.write(m_url, m_entries, m_expected))
            return error;
    }
    MGResult<MGNtSecurityDescriptor> folder = m_summary.dryRun ? wanted : m_store.readDescriptor(m_url, false);
    if (!folder)
        return folder.error();
    walk(m_url, folder->aces);
    m_summary.stopped = stopped();
    return m_serverGone;
}

void MGSmbPropagator::walk(const QByteArray &top, const QList<MGNtAce> &topAces)
{
    // Depth first, one folder's list at a time: what is held is the path down, not the tree.
    struct Pending
    {
        QByteArray folder;
        QList<MGNtAce> aces;
        int depth;
    };
    QList<Pending> stack{{top, topAces, 0}};
    while (!stack.isEmpty() && !stopped() && !m_serverGone) {
        const Pending here = stack.takeLast();
        const MGResult<QList<MGSmbClient::Child>> children = m_store.client().children(here.folder);
        if (!children) {
            fail(here.folder, children.error());
            continue;
        }
        for (const MGSmbClient::Child &child : *children) {
            if (stopped() || m_serverGone)
                break;
            const QByteArray item = here.folder + '/' + QUrl::toPercentEncoding(QString::fromUtf8(child.name));
            QList<MGNtAce> itsAces;
            if (!visit(item, child.directory, here.aces, &itsAces))
                continue;
            if (child.directory) {
                if (here.depth + 1 < MaximumDepth)
                    stack.append({item, itsAces, here.depth + 1});
                else
                    fail(item, MGError::posixError(ELOOP, QStringLiteral("more than %1 folders deep: not walked").arg(MaximumDepth)));
            }
        }
        report(here.folder);
    }
}

bool MGSmbPropagator::visit(const QByteArray &item, bool folder, const QList<MGNtAce> &parentAces, QList<MGNtAce> *itsAces)
{
    const MGResult<MGNtSecurityDescriptor> now = m_store.readDescriptor(item, false);
    if (!now) {
        fail(item, now.error());
        return true;
    }
    // Turned off on the server: the item takes nothing from its folder, and what is below it
    // inherits from it, which this walk does not change.
    if (now->isProtected()) {
        ++m_summary.protectedItems;
        return false;
    }
    const MGNtSecurityDescriptor wanted =
        MGNtInheritance::withInherited(*now, MGNtInheritance::inheritedBy(parentAces, folder, now->ownerSid, now->groupSid));
    *itsAces = wanted.aces;
    if (wanted.holdsSameAs(*now)) {
        ++m_summary.alreadyRight;
        return true;
    }
    if (!m_summary.dryRun) {
        if (const MGResultError error = m_store.writeDescriptor(item, wanted, *now)) {
            fail(item, *error);
            *itsAces = now->aces;
            return true;
        }
    }
    ++m_summary.changed;
    return true;
}
