#pragma once

#include "MGAclList.h"
#include "MGPropagationProgress.h"
#include "MGSmbAclStore.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

// Gives a folder on a file server its entries, then every item below it what it inherits
// from its folder (MGNtInheritance), keeping each item's explicit entries, and leaving an item
// protected from inheritance and what is below it as they are: folder by folder,
// depth first, with progress, a stop at the next item, and a dry run that only counts. What
// was changed before a stop or a failure stays changed; the summary says how far it came. A
// server that stops answering ends the walk with an error, rather than every item after it
// waiting out the time limit.
class MGSmbPropagator
{
public:
    MGSmbPropagator(const MGSmbAclStore &store, QByteArray url, MGAclList entries);

    void setExpected(std::optional<MGAclList> expected) { m_expected = std::move(expected); }
    void setDryRun(bool dryRun) { m_summary.dryRun = dryRun; }
    void setStopFlag(std::shared_ptr<const std::atomic<bool>> stop) { m_stop = std::move(stop); }
    using ProgressHandler = std::function<void(const MGPropagationProgress &sofar)>;
    void setProgressHandler(ProgressHandler handler, std::chrono::milliseconds interval);

    MGResultError run();
    const MGPropagationProgress &summary() const { return m_summary; }

private:
    void walk(const QByteArray &folder, const QList<MGNtAce> &aces);
    // Whether the walk goes on below the item (not below one protected from inheritance).
    bool visit(const QByteArray &item, bool folder, const QList<MGNtAce> &parentAces, QList<MGNtAce> *itsAces);
    void fail(const QByteArray &item, const MGError &error);
    bool stopped() const { return m_stop && m_stop->load(); }
    void report(const QByteArray &folder);

    const MGSmbAclStore &m_store;
    QByteArray m_url;
    MGAclList m_entries;
    std::optional<MGAclList> m_expected;
    std::shared_ptr<const std::atomic<bool>> m_stop;
    ProgressHandler m_progress;
    std::chrono::milliseconds m_interval{250};
    std::chrono::steady_clock::time_point m_lastReport;
    MGPropagationProgress m_summary;
    MGResultError m_serverGone; // the walk's end, when the server stops answering
};
