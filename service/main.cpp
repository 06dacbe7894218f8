// marrowgate-aclservice: reads and writes ACLs for the editor.
//   --stdio       serve one client on standard input and output (the ordinary service,
//                 started by the editor as the user)
//   --system-bus  serve the system bus as the privileged service (root, bus activation);
//                 MARROWGATE_SERVICE_IDLE_SECONDS (default 60) before it quits unused
#include "MGAclBusService.h"
#include "MGAclProtocol.h"
#include "MGAclServiceDispatcher.h"
#include "MGFrames.h"

#include <QCborValue>
#include <QCoreApplication>
#include <QMutex>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <csignal>
#include <malloc.h>
#include <cstdio>
#include <sys/resource.h>
#include <fcntl.h>
#include <unistd.h>

namespace {
// The one client of a child service.
const QString StdioCaller = QStringLiteral("stdio");
// Requests read ahead of the one running; beyond them the client waits (its writes block),
// as it did when every request was read only once the one before was answered.
constexpr std::size_t MaximumWaiting = 64;

int serveStdio()
{
    MGPropagationRegistry registry;
    // Replies go out on a descriptor of their own: what a library prints to standard output
    // (the SMB client's messages) goes to standard error and never into a frame.
    const int replies = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (replies < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        return 1;
    // Progress reports come from the walking threads while a request runs.
    QMutex writeLock;
    auto send = [&writeLock, replies](const QCborMap &frame) {
        QMutexLocker locker(&writeLock);
        return MGFrames::writeFrame(replies, frame.toCborValue().toCbor());
    };
    const MGAclServiceDispatcher::Caller caller{StdioCaller, &registry, [&send](const QCborMap &report) { send(report); }, {},
                                                true};

    // Requests run one at a time, in order, on a worker; a stop is answered at once here,
    // so that it reaches the walk it stops.
    std::mutex lock;
    std::condition_variable ready, room;
    std::deque<QCborMap> waiting;
    bool closed = false;
    std::thread worker([&] {
        for (;;) {
            QCborMap request;
            {
                std::unique_lock<std::mutex> locker(lock);
                ready.wait(locker, [&] { return closed || !waiting.empty(); });
                if (waiting.empty())
                    return;
                request = std::move(waiting.front());
                waiting.pop_front();
                room.notify_one();
            }
            send(MGAclServiceDispatcher::handle(request, caller));
            if (const std::optional<qint64> id = MGAclProtocol::requestNumber(request.value(MGAclProtocol::Field::Id)))
                registry.forget(StdioCaller, *id);
        }
    });
    int status = 0;
    for (bool reading = true; reading;) {
        QByteArray frame;
        QCborMap reply;
        switch (MGFrames::readFrame(STDIN_FILENO, &frame)) {
        case MGFrames::ReadStatus::Closed:
            reading = false;
            continue;
        case MGFrames::ReadStatus::Error:
        case MGFrames::ReadStatus::TimedOut: // neither happens without a deadline
        case MGFrames::ReadStatus::Woken:
            status = 1;
            reading = false;
            continue;
        case MGFrames::ReadStatus::TooLarge:
            reply = MGAclServiceDispatcher::malformedReply(QStringLiteral("the request is too large"));
            break;
        case MGFrames::ReadStatus::Ok: {
            QCborParserError error;
            const QCborValue request = QCborValue::fromCbor(frame, &error);
            if (error.error != QCborError::NoError || !request.isMap()) {
                reply = MGAclServiceDispatcher::malformedReply(QStringLiteral("the request is not a CBOR map"));
            } else if (MGAclServiceDispatcher::isStop(request.toMap())) {
                reply = MGAclServiceDispatcher::handle(request.toMap(), caller);
            } else {
                // A propagation can be stopped from the moment it is taken in.
                const QCborMap map = request.toMap();
                const std::optional<qint64> id = MGAclProtocol::requestNumber(map.value(MGAclProtocol::Field::Id));
                if (id && MGAclProtocol::methodForSelector(map.value(MGAclProtocol::Field::Method).toString())
                              == MGAclRemoteMethod::PropagateEntries)
                    registry.expect(StdioCaller, *id);
                std::unique_lock<std::mutex> locker(lock);
                room.wait(locker, [&] { return waiting.size() < MaximumWaiting; });
                waiting.push_back(request.toMap());
                ready.notify_one();
                continue;
            }
            break;
        }
        }
        if (send(reply) != 0) {
            status = 1;
            reading = false;
        }
    }
    // The client is gone: what it started stops at the next folder, and nothing else runs.
    {
        std::lock_guard<std::mutex> locker(lock);
        closed = true;
        waiting.clear();
        ready.notify_one();
    }
    registry.stopAll();
    worker.join();
    return status;
}
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    std::signal(SIGPIPE, SIG_IGN);
    // Propagation keeps one descriptor open per folder level of the walk.
    struct rlimit files;
    if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < files.rlim_max) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
    const QStringList args = app.arguments();
    if (args.contains(QStringLiteral("--stdio")))
        return serveStdio();
    if (args.contains(QStringLiteral("--system-bus"))) {
        // Requests a caller may not have are refused at once; their buffers go back to the
        // system as soon as they are freed, instead of staying in the heap.
        mallopt(M_MMAP_THRESHOLD, 256 * 1024);
        bool ok = false;
        int idle = qEnvironmentVariableIntValue("MARROWGATE_SERVICE_IDLE_SECONDS", &ok);
        MGAclBusService service(ok && idle > 0 ? idle : 60);
        if (const MGResultError error = service.registerOnBus()) {
            std::fprintf(stderr, "marrowgate-aclservice: %s\n", qPrintable(error->localizedDescription()));
            return 1;
        }
        return app.exec();
    }
    std::fprintf(stderr, "usage: marrowgate-aclservice --stdio | --system-bus\n");
    return 2;
}
