#pragma once

#include "MGWorkQueue.h"

#include <QtTest>
#include <atomic>
#include <memory>

// Waits until every task posted to `queue` before this call has run: a marker task goes in
// behind them. What a test then finds not to have happened did not happen in those tasks.
inline bool flushQueue(MGWorkQueue &queue, int timeout = 10000)
{
    auto done = std::make_shared<std::atomic<bool>>(false);
    queue.async([done] { *done = true; });
    return QTest::qWaitFor([&] { return done->load(); }, timeout);
}

// The same for the main thread's queue.
inline bool flushMainQueue(int timeout = 10000)
{
    auto done = std::make_shared<std::atomic<bool>>(false);
    MGMainQueue::async([done] { *done = true; });
    return QTest::qWaitFor([&] { return done->load(); }, timeout);
}
