#pragma once

#include <QByteArray>
#include <QLocalServer>
#include <QString>
#include <functional>

// One window host per user and display: a later start hands its item to the running host,
// which opens it in a new window beside the others (so windows cascade instead of piling
// up) and saves starting a second program. Reached through a socket only its user can use;
// a peer that is not the same user is never spoken to.
class MGAclHostInstance
{
public:
    // The socket's name for this user on the display the environment names; empty when
    // there is no real display (offscreen, tests), where every start stands alone.
    static QString nameForEnvironment();

    // Hands the path to the host listening at `name`; answers whether it took it.
    static bool handOver(const QString &name, const QByteArray &path, int milliseconds = 5000);

    // Listens at `name` and calls `open` on the main thread for each path handed over.
    bool listen(const QString &name, std::function<void(const QByteArray &path)> open);

private:
    void readRequest(class QLocalSocket *socket);

    QLocalServer m_server;
    std::function<void(const QByteArray &)> m_open;
};
