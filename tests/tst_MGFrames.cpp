#include "MGFrames.h"

#include <QFile>
#include <QtEndian>
#include <QtTest>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
using namespace std::chrono_literals;

QByteArray header(quint32 size)
{
    QByteArray bytes(4, Qt::Uninitialized);
    qToBigEndian<quint32>(size, bytes.data());
    return bytes;
}

// The process's data segment, heap included, in KiB.
qint64 dataSize()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmData:"))
            return line.mid(7).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

struct SocketPair
{
    int ends[2] = {-1, -1};
    SocketPair() { socketpair(AF_UNIX, SOCK_STREAM, 0, ends); }
    ~SocketPair()
    {
        for (int fd : ends)
            if (fd >= 0)
                close(fd);
    }
    void send(const QByteArray &bytes) const { QCOMPARE(write(ends[1], bytes.constData(), bytes.size()), bytes.size()); }
};
}

class tst_MGFrames : public QObject
{
    Q_OBJECT
private slots:
    void framesArriveWholeWhateverTheirPieces()
    {
        SocketPair pair;
        MGFrameReader reader(pair.ends[0]);
        QByteArray payload;
        pair.send(header(5) + "he");
        QCOMPARE(reader.next(&payload, MGFrameReader::Clock::now() + 50ms), MGFrames::ReadStatus::TimedOut);
        pair.send("llo" + header(2) + "ok" + header(0));
        QCOMPARE(reader.next(&payload, MGFrameReader::Clock::now() + 5s), MGFrames::ReadStatus::Ok);
        QCOMPARE(payload, QByteArray("hello"));
        QCOMPARE(reader.next(&payload, MGFrameReader::Clock::now() + 5s), MGFrames::ReadStatus::Ok);
        QCOMPARE(payload, QByteArray("ok"));
        QCOMPARE(reader.next(&payload, MGFrameReader::Clock::now() + 5s), MGFrames::ReadStatus::Ok);
        QCOMPARE(payload, QByteArray());
        close(pair.ends[1]);
        pair.ends[1] = -1;
        QCOMPARE(reader.next(&payload, MGFrameReader::Clock::now() + 5s), MGFrames::ReadStatus::Closed);
    }

    void aLengthAloneCostsNothing()
    {
        // A header that promises the largest frame, then silence: the reader holds what came.
        SocketPair pair;
        MGFrameReader reader(pair.ends[0]);
        const qint64 before = dataSize();
        pair.send(header(MGFrames::MaximumFrameSize) + QByteArray(1000, 'x'));
        QByteArray payload;
        QCOMPARE(reader.next(&payload, MGFrameReader::Clock::now() + 100ms), MGFrames::ReadStatus::TimedOut);
        QVERIFY2(dataSize() - before < 1024, qPrintable(QString::number(dataSize() - before)));
        // The same through the blocking read the service uses, ended by the peer.
        SocketPair other;
        other.send(header(MGFrames::MaximumFrameSize) + QByteArray(1000, 'x'));
        shutdown(other.ends[1], SHUT_WR);
        const qint64 blockingBefore = dataSize();
        QCOMPARE(MGFrames::readFrame(other.ends[0], &payload), MGFrames::ReadStatus::Error);
        QVERIFY(dataSize() - blockingBefore < 1024);
    }

    void framesBeyondTheLimitAreRefused()
    {
        SocketPair pair;
        MGFrameReader reader(pair.ends[0]);
        pair.send(header(MGFrames::MaximumFrameSize + 1));
        QByteArray payload;
        QCOMPARE(reader.next(&payload, MGFrameReader::Clock::now() + 5s), MGFrames::ReadStatus::TooLarge);
        QCOMPARE(MGFrames::writeFrame(pair.ends[1], QByteArray(MGFrames::MaximumFrameSize + 1, 'x')), EMSGSIZE);
    }

    void aPeerThatStopsReadingCannotHoldTheWriter()
    {
        SocketPair pair; // nobody reads ends[0]
        const auto start = MGFrameReader::Clock::now();
        QCOMPARE(MGFrames::writeFrame(pair.ends[1], QByteArray(8 * 1024 * 1024, 'x'), start + 300ms), ETIMEDOUT);
        QVERIFY(MGFrameReader::Clock::now() - start < 5s);
    }

    void aWakeEndsTheWaitEarly()
    {
        SocketPair pair;
        int wake[2];
        QCOMPARE(pipe2(wake, O_NONBLOCK), 0);
        MGFrameReader reader(pair.ends[0], wake[0]);
        QCOMPARE(write(wake[1], "w", 1), 1);
        QByteArray payload;
        QCOMPARE(reader.next(&payload, MGFrameReader::Clock::now() + 60s), MGFrames::ReadStatus::Woken);
        close(wake[0]);
        close(wake[1]);
    }
};

QTEST_GUILESS_MAIN(tst_MGFrames)
#include "tst_MGFrames.moc"
