#include "MGAclHostInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QtEndian>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// A path longer than any the file system takes is not a request.
constexpr quint32 MaxRequest = 64 * 1024;

bool peerIsUs(QLocalSocket *socket)
{
    struct ucred peer = {};
    socklen_t size = sizeof peer;
    return getsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0
        && peer.uid == getuid();
}
}

QString MGAclHostInstance::nameForEnvironment()
{
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (!platform.isEmpty() && !platform.startsWith("xcb") && !platform.startsWith("wayland"))
        return QString();
    QByteArray display = qgetenv("WAYLAND_DISPLAY");
    if (display.isEmpty())
        display = qgetenv("DISPLAY");
    if (display.isEmpty())
        return QString();
    QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (folder.isEmpty() || !QDir(folder).exists())
        folder = QDir::tempPath();
    const QByteArray key = QCryptographicHash::hash(display, QCryptographicHash::Sha256).toHex().left(16);
    return QStringLiteral("%1/marrowgate-acl-%2-%3").arg(folder).arg(getuid()).arg(QString::fromLatin1(key));
}

bool MGAclHostInstance::handOver(const QString &name, const QByteArray &path, int milliseconds)
{
    if (name.isEmpty() || path.size() > qsizetype(MaxRequest))
        return false;
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(milliseconds) || !peerIsUs(&socket))
        return false;
    const quint32 size = qToBigEndian(quint32(path.size()));
    socket.write(reinterpret_cast<const char *>(&size), sizeof size);
    socket.write(path);
    if (!socket.waitForBytesWritten(milliseconds))
        return false;
    while (socket.bytesAvailable() < 1) {
        if (!socket.waitForReadyRead(milliseconds))
            return false;
    }
    return socket.read(1) == "1";
}

bool MGAclHostInstance::listen(const QString &name, std::function<void(const QByteArray &)> open)
{
    if (name.isEmpty())
        return false;
    m_open = std::move(open);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(name)) {
        // Nobody answered there a moment ago: what is left is a stale socket.
        if (m_server.serverError() != QAbstractSocket::AddressInUseError)
            return false;
        QLocalServer::removeServer(name);
        if (!m_server.listen(name))
            return false;
    }
    QObject::connect(&m_server, &QLocalServer::newConnection, &m_server, [this] {
        while (QLocalSocket *socket = m_server.nextPendingConnection()) {
            if (!peerIsUs(socket)) {
                socket->deleteLater();
                continue;
            }
            QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket] { readRequest(socket); });
            readRequest(socket);
        }
    });
    return true;
}

void MGAclHostInstance::readRequest(QLocalSocket *socket)
{
    quint32 size = 0;
    if (socket->peek(reinterpret_cast<char *>(&size), sizeof size) < qint64(sizeof size))
        return;
    size = qFromBigEndian(size);
    if (size > MaxRequest) {
        socket->abort();
        return;
    }
    if (socket->bytesAvailable() < qint64(sizeof size + size))
        return;
    socket->skip(sizeof size);
    const QByteArray path = socket->read(size);
    socket->write("1");
    socket->flush();
    if (m_open)
        m_open(path);
}
