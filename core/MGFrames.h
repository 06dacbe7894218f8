#pragma once

#include <QByteArray>
#include <chrono>

// Length-framed messages on a stream socket or pipe: a 4-byte big-endian length, then
// that many bytes. EINTR is retried. A frame's buffer grows only as its bytes arrive, so a
// length header alone costs nothing.
namespace MGFrames {
// Larger than any real request or reply (the largest ACL a file system holds is some
// 16,000 entries in two ACLs).
inline constexpr quint32 MaximumFrameSize = 16u * 1024 * 1024;

enum class ReadStatus { Ok, Closed, TooLarge, Error, TimedOut, Woken };

// Answers 0 or the errno of the failure. Never raises SIGPIPE.
int writeFrame(int fd, const QByteArray &payload);
// The same on a non-blocking descriptor, giving up with ETIMEDOUT at `deadline` (a peer
// that stopped reading cannot hold the writer).
int writeFrame(int fd, const QByteArray &payload, std::chrono::steady_clock::time_point deadline);
// Blocks for the next frame. On TooLarge the oversized payload has been read and dropped,
// so the stream stays usable.
ReadStatus readFrame(int fd, QByteArray *payload, int *error = nullptr);
}

// Reads frames from a descriptor without blocking past a deadline: for a reader that must
// notice a peer that stops in the middle of a frame, or says nothing at all.
class MGFrameReader
{
public:
    using Clock = std::chrono::steady_clock;

    // `wakeFd` (optional) is a descriptor whose readability ends a wait early (Woken), so the
    // reader can look at a deadline that moved; it is drained then.
    explicit MGFrameReader(int fd, int wakeFd = -1) : m_fd(fd), m_wakeFd(wakeFd) {}

    // The next frame, once it is whole; TimedOut when `deadline` passes first. A frame
    // longer than MaximumFrameSize is TooLarge, and the stream is not to be read further.
    MGFrames::ReadStatus next(QByteArray *payload, Clock::time_point deadline, int *error = nullptr);

private:
    int m_fd;
    int m_wakeFd;
    QByteArray m_buffer;
};
