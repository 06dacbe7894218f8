// marrowgate-aclservice: reads and writes ACLs for the editor.
//   --stdio       serve one client on standard input and output (the ordinary service,
//                 started by the editor as the user)
//   --system-bus  serve the system bus as the privileged service (root, bus activation);
//                 MARROWGATE_SERVICE_IDLE_SECONDS (default 60) before it quits unused
#include "MGAclBusService.h"
#include "MGAclServiceDispatcher.h"
#include "MGFrames.h"

#include <QCborValue>
#include <QCoreApplication>
#include <QMutex>
#include <csignal>
#include <malloc.h>
#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace {
int serveStdio()
{
    MGAclServiceDispatcher dispatcher;
    // Progress reports come from the walking threads while the request runs.
    QMutex writeLock;
    auto send = [&writeLock](const QCborMap &frame) {
        QMutexLocker locker(&writeLock);
        return MGFrames::writeFrame(STDOUT_FILENO, frame.toCborValue().toCbor());
    };
    for (;;) {
        QByteArray frame;
        QCborMap reply;
        switch (MGFrames::readFrame(STDIN_FILENO, &frame)) {
        case MGFrames::ReadStatus::Closed:
            return 0;
        case MGFrames::ReadStatus::Error:
        case MGFrames::ReadStatus::TimedOut: // neither happens without a deadline
        case MGFrames::ReadStatus::Woken:
            return 1;
        case MGFrames::ReadStatus::TooLarge:
            reply = MGAclServiceDispatcher::malformedReply(QStringLiteral("the request is too large"));
            break;
        case MGFrames::ReadStatus::Ok: {
            QCborParserError error;
            const QCborValue request = QCborValue::fromCbor(frame, &error);
            if (error.error != QCborError::NoError || !request.isMap())
                reply = MGAclServiceDispatcher::malformedReply(QStringLiteral("the request is not a CBOR map"));
            else
                reply = dispatcher.handle(request.toMap(), [&send](const QCborMap &report) { send(report); });
            break;
        }
        }
        if (send(reply) != 0)
            return 1;
    }
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
