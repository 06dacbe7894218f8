#include "MGFrames.h"

#include <QtEndian>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
constexpr qsizetype ChunkSize = 64 * 1024;

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

MGFrames::ReadStatus failed(int *error, int value)
{
    if (error)
        *error = value;
    return MGFrames::ReadStatus::Error;
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

int writeFrame(int fd, const QByteArray &payload, std::chrono::steady_clock::time_point deadline)
{
    if (quint64(payload.size()) > MaximumFrameSize)
        return EMSGSIZE;
    QByteArray frame(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(payload.size()), frame.data());
    frame += payload;
    const char *data = frame.constData();
    size_t size = size_t(frame.size());
    while (size > 0) {
        const ssize_t n = send(fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n >= 0) {
            data += n;
            size -= size_t(n);
            continue;
        }
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN)
            return errno;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return ETIMEDOUT;
        pollfd out{fd, POLLOUT, 0};
        poll(&out, 1, int(qMin<qint64>(left.count(), 24 * 60 * 60 * 1000)));
    }
    return 0;
}

ReadStatus readFrame(int fd, QByteArray *payload, int *error)
{
    char header[4];
    const ssize_t got = readAll(fd, header, sizeof header);
    if (got < 0)
        return failed(error, errno);
    if (got == 0)
        return ReadStatus::Closed;
    if (got < 4)
        return failed(error, EPROTO);
    const quint32 size = qFromBigEndian<quint32>(header);
    const bool tooLarge = size > MaximumFrameSize;
    payload->clear();
    char chunk[ChunkSize];
    for (quint64 left = size; left > 0;) {
        const ssize_t n = readAll(fd, chunk, size_t(qMin<quint64>(left, sizeof chunk)));
        if (n <= 0)
            return failed(error, n < 0 ? errno : EPROTO);
        if (!tooLarge)
            payload->append(chunk, n);
        left -= quint64(n);
    }
    if (tooLarge) {
        payload->clear();
        return ReadStatus::TooLarge;
    }
    return ReadStatus::Ok;
}
}

MGFrames::ReadStatus MGFrameReader::next(QByteArray *payload, Clock::time_point deadline, int *error)
{
    using MGFrames::ReadStatus;
    for (;;) {
        if (m_buffer.size() >= 4) {
            const quint32 size = qFromBigEndian<quint32>(m_buffer.constData());
            if (size > MGFrames::MaximumFrameSize)
                return ReadStatus::TooLarge;
            if (quint64(m_buffer.size()) >= 4 + quint64(size)) {
                *payload = m_buffer.mid(4, size);
                m_buffer.remove(0, 4 + size);
                return ReadStatus::Ok;
            }
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return ReadStatus::TimedOut;
        pollfd fds[2] = {{m_fd, POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
        const int ready = poll(fds, m_wakeFd >= 0 ? 2 : 1, int(qMin<qint64>(left, 24 * 60 * 60 * 1000)));
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            return failed(error, errno);
        }
        if (ready == 0)
            continue; // the deadline is checked above
        if (m_wakeFd >= 0 && (fds[1].revents & POLLIN)) {
            char drain[64];
            while (read(m_wakeFd, drain, sizeof drain) > 0) {
            }
            return ReadStatus::Woken;
        }
        // Only what the frame still lacks is asked for, so the buffer grows with the bytes.
        qsizetype wanted = ChunkSize;
        if (m_buffer.size() >= 4)
            wanted = qMin<qsizetype>(wanted, 4 + qsizetype(qFromBigEndian<quint32>(m_buffer.constData())) - m_buffer.size());
        const qsizetype had = m_buffer.size();
        m_buffer.resize(had + wanted);
        const ssize_t n = read(m_fd, m_buffer.data() + had, size_t(wanted));
        m_buffer.resize(had + qMax<ssize_t>(n, 0));
        if (n < 0) {
            if (errno == EINTR || errno == EAGAIN)
                continue;
            return failed(error, errno);
        }
        if (n == 0)
            return ReadStatus::Closed;
    }
}
