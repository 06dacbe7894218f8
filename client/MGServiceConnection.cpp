#include "MGServiceConnection.h"

#include "MGItemPaths.h"
#include "NTLocalizedString.h"

#include <QCborArray>

namespace {

class RemoteProxy : public MGAclServiceProxy
{
public:
    RemoteProxy(MGServiceConnection *connection, MGServiceConnection::ErrorHandler handler)
        : m_connection(connection), m_handler(std::move(handler))
    {
    }

    void getAclEntriesWithUrl(const QUrl &url, EntriesReply reply) override
    {
        call(MGAclRemoteMethod::GetEntries, {{QStringLiteral("path"), MGItemPaths::nativePath(url)}}, [reply](const QCborMap &map, QString *why) {
            const QCborValue entries = map.value(QStringLiteral("entries"));
            std::optional<MGAclList> list;
            if (!entries.isUndefined() && !(list = MGAclLists::fromCbor(entries, why)))
                return false;
            MGResultError error;
            if (!decodeError(map, &error, why))
                return false;
            reply(list, error);
            return true;
        });
    }

    void setAclEntries(const MGAclList &entries, const QUrl &url, ErrorReply reply,
                       const std::optional<MGAclList> &expected) override
    {
        sendList(MGAclRemoteMethod::SetEntries, entries, url, expected, std::move(reply));
    }

    void propagateAclEntries(const MGAclList &entries, const QUrl &url, ErrorReply reply,
                             const std::optional<MGAclList> &expected) override
    {
        sendList(MGAclRemoteMethod::PropagateEntries, entries, url, expected, std::move(reply));
    }

    void getAclAccessWithUrl(const QUrl &url, const QUuid &uuid, AccessReply reply) override
    {
        call(MGAclRemoteMethod::GetAccess, {{QStringLiteral("path"), MGItemPaths::nativePath(url)}, {QStringLiteral("uuid"), uuid.toString(QUuid::WithoutBraces)}},
             [reply](const QCborMap &map, QString *why) {
                 const QCborValue access = map.value(QStringLiteral("access"));
                 std::optional<QList<MGTreeNode::Pointer>> tree;
                 if (!access.isUndefined() && !(tree = MGTreeNode::forestFromCbor(access, why)))
                     return false;
                 MGResultError error;
                 if (!decodeError(map, &error, why))
                     return false;
                 reply(tree, error);
                 return true;
             });
    }

private:
    using Decoder = std::function<bool(const QCborMap &, QString *why)>;

    static bool decodeError(const QCborMap &map, MGResultError *error, QString *why)
    {
        const QCborValue value = map.value(QStringLiteral("error"));
        if (value.isUndefined())
            return true;
        *error = MGError::fromCbor(value, why);
        return error->has_value();
    }

    // A list and an item in, only an error back.
    void sendList(MGAclRemoteMethod method, const MGAclList &entries, const QUrl &url,
                  const std::optional<MGAclList> &expected, ErrorReply reply)
    {
        QCborMap arguments{{QStringLiteral("path"), MGItemPaths::nativePath(url)},
                           {QStringLiteral("entries"), MGAclLists::toCbor(entries)}};
        if (expected)
            arguments.insert(QStringLiteral("expected"), MGAclLists::toCbor(*expected));
        call(method, arguments,
             [reply](const QCborMap &map, QString *why) {
                 MGResultError error;
                 if (!decodeError(map, &error, why))
                     return false;
                 reply(error);
                 return true;
             });
    }

    void call(MGAclRemoteMethod method, const QCborMap &arguments, Decoder decode)
    {
        const MGRemoteClasses::Classes allowed = m_connection->allowedClasses(QString::fromLatin1(MGAclProtocol::selector(method)));
        const auto handler = m_handler;
        m_connection->send(
            method, arguments,
            [decode, allowed, handler](const QCborMap &reply) {
                QString why;
                QCborMap payload = reply;
                payload.remove(QStringLiteral("id"));
                payload.remove(QStringLiteral("error"));
                for (auto it = payload.constBegin(); it != payload.constEnd(); ++it) {
                    if ((MGRemoteClasses::classesIn(it.value()) & ~allowed) != MGRemoteClasses::Classes())
                        why = QStringLiteral("the reply holds a value of a kind this call does not accept");
                }
                if (why.isEmpty() && decode(reply, &why))
                    return;
                handler(MGServiceConnection::connectionError(
                    MGServiceConnection::MalformedReply,
                    QStringLiteral("The ACL service sent a malformed reply: %1").arg(why)));
            },
            handler);
    }

    MGServiceConnection *m_connection;
    MGServiceConnection::ErrorHandler m_handler;
};
}

MGError MGServiceConnection::connectionError(ErrorCode code, const QString &description)
{
    return MGError(QString::fromLatin1(MGError::ServiceDomain), code, description);
}

MGServiceConnection::MGServiceConnection(const QString &name) : m_replies(name)
{
}

MGServiceConnection::~MGServiceConnection() = default;

std::shared_ptr<MGAclServiceProxy> MGServiceConnection::remoteObjectProxyWithErrorHandler(ErrorHandler handler)
{
    return std::make_shared<RemoteProxy>(this, std::move(handler));
}

void MGServiceConnection::setRemoteEncodableClasses(const QHash<QString, MGRemoteClasses::Classes> &classes)
{
    QMutexLocker locker(&m_classesLock);
    m_classes = classes;
}

MGRemoteClasses::Classes MGServiceConnection::allowedClasses(const QString &method) const
{
    QMutexLocker locker(&m_classesLock);
    return m_classes.value(method);
}

std::chrono::milliseconds MGServiceConnection::timeLimit(MGAclRemoteMethod method) const
{
    const qint64 set = m_timeLimit;
    return set > 0 ? std::chrono::milliseconds(set) : MGAclProtocol::timeLimit(method);
}

void MGServiceConnection::setTimeLimit(std::optional<std::chrono::milliseconds> limit)
{
    m_timeLimit = limit ? qMax<qint64>(1, limit->count()) : 0;
}

QCborMap MGServiceConnection::request(quint64 id, MGAclRemoteMethod method, const QCborMap &arguments)
{
    return MGAclProtocol::request(id, method, NTLocalizedString::currentLanguage(), arguments);
}
