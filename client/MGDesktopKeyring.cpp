#include "MGDesktopKeyring.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QMap>

namespace {
using Attributes = QMap<QString, QString>;
const QString serviceName = QStringLiteral("org.freedesktop.secrets");
// A keyring that answers at all answers at once; a hung one must not hold a save.
constexpr int replyTimeout = 5000;

QDBusMessage call(const QString &path, const QString &interface, const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(serviceName, path, interface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, replyTimeout);
}

bool answered(const QDBusMessage &reply, int arguments)
{
    return reply.type() == QDBusMessage::ReplyMessage && reply.arguments().size() >= arguments;
}

QList<QDBusObjectPath> unlockedItems(const Attributes &attributes)
{
    const QDBusMessage reply = call(QStringLiteral("/org/freedesktop/secrets"), QStringLiteral("org.freedesktop.Secret.Service"),
                                    QStringLiteral("SearchItems"), {QVariant::fromValue(attributes)});
    if (!answered(reply, 1))
        return {};
    return qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().at(0));
}

Attributes attributesOf(const QDBusObjectPath &item)
{
    const QDBusMessage reply = call(item.path(), QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                                    {QStringLiteral("org.freedesktop.Secret.Item"), QStringLiteral("Attributes")});
    if (!answered(reply, 1))
        return {};
    return qdbus_cast<Attributes>(reply.arguments().at(0).value<QDBusVariant>().variant());
}

// The secret in the clear: the session bus is the user's own, as it is for every program
// that reads the keyring this way.
std::optional<QByteArray> secretOf(const QDBusObjectPath &item)
{
    const QDBusMessage opened = call(QStringLiteral("/org/freedesktop/secrets"), QStringLiteral("org.freedesktop.Secret.Service"),
                                     QStringLiteral("OpenSession"),
                                     {QStringLiteral("plain"), QVariant::fromValue(QDBusVariant(QString()))});
    if (!answered(opened, 2))
        return std::nullopt;
    const QDBusObjectPath session = qdbus_cast<QDBusObjectPath>(opened.arguments().at(1));
    const QDBusMessage reply = call(item.path(), QStringLiteral("org.freedesktop.Secret.Item"), QStringLiteral("GetSecret"),
                                    {QVariant::fromValue(session)});
    call(session.path(), QStringLiteral("org.freedesktop.Secret.Session"), QStringLiteral("Close"), {});
    if (!answered(reply, 1))
        return std::nullopt;
    const QDBusArgument secret = reply.arguments().at(0).value<QDBusArgument>();
    QDBusObjectPath secretSession;
    QByteArray parameters, value;
    QString contentType;
    secret.beginStructure();
    secret >> secretSession >> parameters >> value >> contentType;
    secret.endStructure();
    return value;
}
}

namespace MGDesktopKeyring {
std::optional<MGServerCredentials> serverLogin(const QString &server)
{
    static const bool registered = [] {
        qDBusRegisterMetaType<Attributes>();
        return true;
    }();
    Q_UNUSED(registered);
    if (server.isEmpty() || !QDBusConnection::sessionBus().isConnected())
        return std::nullopt;
    for (const QDBusObjectPath &item : unlockedItems({{QStringLiteral("server"), server}, {QStringLiteral("protocol"), QStringLiteral("smb")}})) {
        const Attributes attributes = attributesOf(item);
        const QString user = attributes.value(QStringLiteral("user"));
        if (user.isEmpty())
            continue;
        std::optional<QByteArray> password = secretOf(item);
        if (!password)
            continue;
        MGServerCredentials credentials(user, *password, attributes.value(QStringLiteral("domain")));
        password->fill('\0');
        return credentials;
    }
    return std::nullopt;
}
}
