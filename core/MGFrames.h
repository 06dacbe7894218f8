#pragma once

#include <QByteArray>

// Length-framed messages on a stream socket or pipe: a 4-byte big-endian length, then
// that many bytes. Blocking; EINTR is retried.
namespace MGFrames {
inline constexpr quint32 MaximumFrameSize = 64u * 1024 * 1024;

enum class ReadStatus { Ok, Closed, TooLarge, Error };

// Answers 0 or the errno of the failure. Never raises SIGPIPE.
int writeFrame(int fd, const QByteArray &payload);
// On TooLarge the oversized payload has been read and dropped, so the stream stays usable.
ReadStatus readFrame(int fd, QByteArray *payload, int *error = nullptr);
}
