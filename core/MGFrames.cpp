#include "MGFrames.h"

#include <QtEndian>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int writeAll(int fd, const char *data, size_t size)
{
    while (size > 0) {
        // send() with MSG_NOSIGNAL keeps a closed peer from killing the process; a pipe
        // (not a socket) falls back to write().
        ssize_t n = send(fd, data, size, MSG_NOSIGNAL);
        if (n < 0 && errno == ENOTSOCK)
            n = write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        data += n;
        size -= size_t(n);
    }
    return 0;
}

// Answers the number of bytes read: `size`, or less at end of stream; -1 on error.
ssize_t readAll(int fd, char *data, size_t size)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t n = read(fd, data + done, size - done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        if (n == 0)
            break;
        done += size_t(n);
    }
    return ssize_t(done);
}
}

namespace MGFrames {

int writeFrame(int fd, const QByteArray &payload)
{
    if (quint64(payload.size()) > MaximumFrameSize)
        return EMSGSIZE;
    QByteArray frame(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(payload.size()), frame.data());
    frame += payload;
    return writeAll(fd, frame.constData(), size_t(frame.size()));
}

ReadStatus readFrame(int fd, QByteArray *payload, int *error)
{
    char header[4];
    const ssize_t got = readAll(fd, header, sizeof header);
    if (got < 0) {
        if (error)
            *error = errno;
        return ReadStatus::Error;
    }
    if (got == 0)
        return ReadStatus::Closed;
    if (got < 4) {
        if (error)
            *error = EPROTO;
        return ReadStatus::Error;
    }
    const quint32 size = qFromBigEndian<quint32>(header);
    if (size > MaximumFrameSize) {
        char sink[65536];
        for (quint64 left = size; left > 0;) {
            const ssize_t n = readAll(fd, sink, size_t(qMin<quint64>(left, sizeof sink)));
            if (n <= 0) {
                if (error)
                    *error = n < 0 ? errno : EPROTO;
                return ReadStatus::Error;
            }
            left -= quint64(n);
        }
        return ReadStatus::TooLarge;
    }
    payload->resize(qsizetype(size));
    const ssize_t body = readAll(fd, payload->data(), size);
    if (body != ssize_t(size)) {
        if (error)
            *error = body < 0 ? errno : EPROTO;
        return ReadStatus::Error;
    }
    return ReadStatus::Ok;
}
}
