#pragma once

#include "MGAclServiceDispatcher.h"
#include "MGWorkQueue.h"

#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <QTimer>

// The ACL service on the system bus, running as root. Every call is checked with polkit
// for the caller that sent it on the bus (never anything the request says) against the one
// right that covers it; without that authorisation the call does nothing and answers an
// error. Requests run one at a time off the bus thread. The service quits after a while
// without callers.
class MGAclBusService : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quillwork.Marrowgate.AclService")
public:
    explicit MGAclBusService(int idleSeconds, QObject *parent = nullptr);

    // Claims the bus name and publishes the object; an error says why it could not.
    MGResultError registerOnBus();

public slots:
    // A CBOR request in, a CBOR reply out (sent later).
    QByteArray Call(const QByteArray &request);

private:
    void answer(const QDBusMessage &message, const QByteArray &request);
    void finished();

    MGAclServiceDispatcher m_dispatcher; // used on the work queue only
    MGWorkQueue m_work;
    QTimer m_idle;
    int m_inFlight = 0; // main thread only
};
