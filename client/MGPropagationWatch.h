#pragma once

#include "MGPropagationProgress.h"

#include <QMutex>
#include <functional>

// Follows one propagation while it runs, and stops it when asked: handed to the call, it
// receives the service's progress reports (on the connection's reply thread) and is told
// how to send a stop for the call (by the connection that made it, again for a privileged
// retry). Stopping is safe from any thread, before or while the call runs: a stop asked for
// before the call reaches the service is sent as soon as it does.
class MGPropagationWatch
{
public:
    using ProgressHandler = std::function<void(const MGPropagationProgress &progress)>;

    explicit MGPropagationWatch(ProgressHandler onProgress = {}, bool dryRun = false);

    bool dryRun() const { return m_dryRun; }
    void stop();
    bool stopRequested() const;

    // For connections: a report arrived; the call can now be stopped this way; it ended.
    void report(const MGPropagationProgress &progress) const;
    void bind(std::function<void()> sendStop);
    void unbind();

private:
    ProgressHandler m_onProgress;
    const bool m_dryRun;
    mutable QMutex m_lock;
    std::function<void()> m_sendStop;
    bool m_stopRequested = false;
    bool m_stopSent = false;
};
