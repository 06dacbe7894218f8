#pragma once

#include "MGAuditLog.h"
#include "MGError.h"
#include "MGPropagationRegistry.h"

#include <QDBusContext>
#include <QDBusMessage>
#include <QHash>
#include <QMutex>
#include <QObject>
#include <QThreadPool>
#include <QTimer>
#include <deque>

// The ACL service on the system bus, running as root. Every call is checked with polkit
// for the caller that sent it on the bus (never anything the request says) against the one
// right that covers it; without that authorisation the call does nothing and answers an
// error.
//
// Callers do not wait on each other: each caller's requests run one at a time, in order,
// and different callers' requests run at once, on a bounded pool of threads. What a caller
// may leave waiting is bounded too (requests and bytes, per caller and in all); a request
// beyond that is answered at once with an error and not kept. The service quits after a
// while without callers.
//
// A caller's propagation reports its progress in "Progress" signals sent to that caller
// alone; a caller stops its own propagation with a stop request, which is checked like any
// call and answered at once, not behind the propagation (one stop at a time per caller).
class MGAclBusService : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quillwork.Marrowgate.AclService")
public:
    static constexpr int MaximumWorkers = 16;
    static constexpr int MaximumWaitingPerCaller = 4;
    static constexpr qsizetype MaximumBytesPerCaller = 8 * 1024 * 1024;
    static constexpr qsizetype MaximumBytes = 32 * 1024 * 1024;

    explicit MGAclBusService(int idleSeconds, QObject *parent = nullptr);
    ~MGAclBusService() override;

    // Claims the bus name and publishes the object; an error says why it could not.
    MGResultError registerOnBus();

public slots:
    // A CBOR request in, a CBOR reply out (sent later).
    QByteArray Call(const QByteArray &request);

private:
    struct Request
    {
        QString caller; // the bus name that sent it
        QDBusMessage reply; // an empty reply to it: the request message itself is not kept
        QByteArray payload;
        qint64 id = -1; // its request number, as far as it could be read
    };
    struct Caller
    {
        std::deque<Request> waiting;
        qsizetype bytes = 0;
        bool running = false;
        bool stopping = false; // a stop request is being answered
    };

    void serve(const QString &caller);
    // `asStop`: taken in beside the caller's queue, as a stop request.
    QByteArray answer(const QString &caller, const QByteArray &request, bool asStop);
    // Answers a stop request beside the caller's queue; false when one is being answered.
    bool serveStop(const QString &caller, const QDBusMessage &message, const QByteArray &request);
    void finished();

    QMutex m_lock; // guards the callers and the byte count; taken by the pool's threads
    QHash<QString, Caller> m_callers;
    qsizetype m_bytes = 0;
    QThreadPool m_pool;
    MGPropagationRegistry m_registry;
    MGAuditLog m_log;
    QTimer m_idle;
    int m_inFlight = 0; // main thread only
};
