#include "MGPolkit.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <mutex>

namespace {
const QString Service = QStringLiteral("org.freedesktop.PolicyKit1");
const QString Path = QStringLiteral("/org/freedesktop/PolicyKit1/Authority");
const QString Interface = QStringLiteral("org.freedesktop.PolicyKit1.Authority");
constexpr int InteractionTimeout = 10 * 60 * 1000; // a person typing a password
constexpr int CheckTimeout = 30 * 1000;
}

QDBusArgument &operator<<(QDBusArgument &argument, const MGPolkitSubject &subject)
{
    argument.beginStructure();
    argument << subject.kind << subject.details;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MGPolkitSubject &subject)
{
    argument.beginStructure();
    argument >> subject.kind >> subject.details;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const MGPolkitResult &result)
{
    argument.beginStructure();
    argument << result.authorized << result.challenge << result.details;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MGPolkitResult &result)
{
    argument.beginStructure();
    argument >> result.authorized >> result.challenge >> result.details;
    argument.endStructure();
    return argument;
}

void MGPolkit::registerTypes()
{
    static std::once_flag once;
    std::call_once(once, [] {
        qDBusRegisterMetaType<MGPolkitSubject>();
        qDBusRegisterMetaType<MGPolkitResult>();
        qDBusRegisterMetaType<QMap<QString, QString>>();
    });
}

QString MGPolkit::actionForRight(const QString &right)
{
    return right.toLower();
}

MGResult<MGPolkit::Answer> MGPolkit::checkAuthorization(const QDBusConnection &bus, const QString &busName,
                                                        const QString &action, bool allowInteraction)
{
    registerTypes();
    QDBusMessage call = QDBusMessage::createMethodCall(Service, Path, Interface, QStringLiteral("CheckAuthorization"));
    const MGPolkitSubject subject{QStringLiteral("system-bus-name"), {{QStringLiteral("name"), busName}}};
    call << QVariant::fromValue(subject) << action << QVariant::fromValue(QMap<QString, QString>())
         << quint32(allowInteraction ? 1 : 0) << QString();
    const QDBusMessage reply = QDBusConnection(bus).call(call, QDBus::Block,
                                                         allowInteraction ? InteractionTimeout : CheckTimeout);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1)
        return MGError(QString::fromLatin1(MGError::OSStatusDomain), MGError::AuthorizationDenied,
                       QStringLiteral("The authorisation could not be checked: %1").arg(reply.errorMessage()));
    MGPolkitResult result;
    reply.arguments().first().value<QDBusArgument>() >> result;
    return Answer{result.authorized,
                  result.details.value(QStringLiteral("polkit.dismissed")) == QLatin1String("true")};
}
