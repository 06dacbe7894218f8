#pragma once

#include <QByteArray>
#include <QMutex>
#include <functional>

// Text that walking threads produce, handed on in pieces of about 64 KiB as it comes, one
// sink call at a time and in the order it was added, so that the text of a tree of any size
// is never held whole; the sink may take its time (a pipe's back pressure slows the walk).
class MGTextPieces
{
public:
    using Sink = std::function<void(const QByteArray &text)>;

    explicit MGTextPieces(Sink sink) : m_sink(std::move(sink)) {}
    void add(const QByteArray &text);
    // Hands on what is pending; with `evenEmpty`, also when nothing is, as a sign of life.
    void flush(bool evenEmpty = false);

private:
    static constexpr qsizetype PieceSize = 64 * 1024;

    Sink m_sink;
    QMutex m_lock; // the pending text, and one sink call at a time
    QByteArray m_pending;
};
