#pragma once

#include "MGAclServiceDispatcher.h"
#include "MGFrames.h"
#include "MGRequestOutline.h"

#include <QCborValue>
#include <QFile>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

// One input of the request fuzzers (the test suite's own loop and a libFuzzer target): the
// bytes as they would come down a service connection, read by both frame readers, each frame
// checked as the privileged service checks it before polkit (its outline) and as the
// dispatcher checks it after, and, when both let it through, answered.
//
// Whatever the bytes say, the items are below `sandbox` (a path is kept to its last
// name there), and the process runs as nobody: a fuzzed save changes nothing of anyone's.
namespace RequestFuzzing {

// Frames read, and of them those answered (both checks let them through).
inline std::atomic<qint64> framesRead = 0, answered = 0;

// A path in the sandbox standing for whatever the request named: the sandbox itself, its
// file, its folder, or a name that is not there.
inline QByteArray sandboxed(const QByteArray &path, const QByteArray &sandbox)
{
    static const char *const names[] = {"", "/file", "/folder", "/missing"};
    return sandbox + names[qHash(path) % 4];
}

// Checks one frame; false when the two checks disagree (a fault of ours, said on stderr).
inline bool checkFrame(const QByteArray &frame, const QByteArray &sandbox, MGPropagationRegistry &registry)
{
    QString why;
    const std::optional<QCborMap> outline = MGRequestOutline::of(frame, &why);
    QCborParserError parseError;
    const QCborValue value = QCborValue::fromCbor(frame, &parseError);
    const bool readable = parseError.error == QCborError::NoError && value.isMap();
    const bool outlineRefuses = !outline || MGAclServiceDispatcher::refusal(*outline).has_value();
    const bool requestRefuses = !readable || MGAclServiceDispatcher::refusal(value.toMap()).has_value();
    // What the outline lets through, the request must let through too: otherwise a malformed
    // request would reach polkit. (The outline may be stricter: it reads a whole number no
    // 64-bit integer holds as what it is, where QCborValue reads -2^64 as 0.)
    if (!outlineRefuses && requestRefuses) {
        std::fprintf(stderr, "the outline lets through what the request check refuses: %s\n",
                     qPrintable(value.toDiagnosticNotation().left(2000)));
        return false;
    }
    if (outlineRefuses || requestRefuses)
        return true;
    // The quick look that routes a request (a stop beside the queue) reads what it says.
    const MGAclProtocol::Header header = MGAclProtocol::peek(frame);
    if (header.method != MGAclProtocol::methodForSelector(value.toMap().value(QStringLiteral("method")).toString())
        || header.id != value.toMap().value(QStringLiteral("id")).toInteger()) {
        std::fprintf(stderr, "the quick look reads another method or number: %s\n",
                     qPrintable(value.toDiagnosticNotation().left(2000)));
        return false;
    }
    QCborMap request = value.toMap();
    QCborMap arguments = request.value(QStringLiteral("args")).toMap();
    const QString path = QString(MGAclProtocol::Key::Path);
    if (arguments.contains(path)) {
        arguments.insert(path, sandboxed(arguments.value(path).toByteArray(), sandbox));
        request.insert(QStringLiteral("args"), arguments);
    }
    MGAclServiceDispatcher::handle(request, {QStringLiteral("fuzz"), &registry, [](const QCborMap &) {}, {}});
    ++answered;
    return true;
}

// Runs one input through the frame readers and every frame through the checks.
inline bool fuzzOne(const QByteArray &input, const QByteArray &sandbox, MGPropagationRegistry &registry)
{
    bool agreed = true;
    // The service's reader, blocking, and the client's, with a deadline: the same bytes.
    for (int reader = 0; reader < 2; ++reader) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            return true;
        int size = 4 * 1024 * 1024;
        setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
        setsockopt(ends[0], SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
        const bool written = write(ends[1], input.constData(), size_t(input.size())) == input.size();
        close(ends[1]);
        if (!written) {
            close(ends[0]);
            return true; // larger than a socket holds at once: not an input for this loop
        }
        MGFrameReader client(ends[0]);
        for (int frames = 0; frames < 16; ++frames) {
            QByteArray frame;
            const MGFrames::ReadStatus status = reader == 0
                ? MGFrames::readFrame(ends[0], &frame)
                : client.next(&frame, MGFrameReader::Clock::now() + std::chrono::seconds(5));
            if (status == MGFrames::ReadStatus::TooLarge && reader == 0)
                continue;
            if (status != MGFrames::ReadStatus::Ok)
                break;
            if (reader == 0) {
                ++framesRead;
                agreed = checkFrame(frame, sandbox, registry) && agreed;
            }
        }
        close(ends[0]);
    }
    return agreed;
}

// The sandbox's items: a file and a folder with a file, all nobody's.
inline bool makeSandbox(const QByteArray &sandbox)
{
    if (mkdir(sandbox.constData(), 0755) != 0 || mkdir((sandbox + "/folder").constData(), 0755) != 0)
        return false;
    for (const QByteArray &name : {QByteArray("/file"), QByteArray("/folder/inner")}) {
        const int fd = open((sandbox + name).constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        if (fd < 0)
            return false;
        close(fd);
    }
    return true;
}
}
