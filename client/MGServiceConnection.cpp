#include "MGServiceConnection.h"

#include "MGItemPaths.h"
#include "MGServerAccounts.h"
#include "MGServerLogins.h"
#include "NTLocalizedString.h"

#include <QCborArray>

namespace Key = MGAclProtocol::Key;

namespace {

// What names an item in a request: its path, or a server item's URL with the account
// given for that server.
QCborMap itemArguments(const QUrl &url)
{
    QCborMap arguments{{QString(Key::Path), MGItemPaths::requestPath(url)}};
    if (MGItemPaths::isServerUrl(url)) {
        if (const std::optional<MGServerCredentials> login = MGServerLogins::forUrl(url))
            arguments.insert(QString(Key::Credentials), login->toCbor());
    }
    return arguments;
}

// A file server's account asked about travels by name beside its UUID (MGServerAccounts).
void addAccount(QCborMap &arguments, const QUrl &url, const QUuid &uuid)
{
    if (const std::optional<QString> account = MGServerAccounts::accountFor(uuid); account && MGItemPaths::isServerUrl(url))
        arguments.insert(QString(Key::Account), *account);
}

class RemoteProxy : public MGAclServiceProxy
{
public:
    RemoteProxy(MGServiceConnection *connection, MGServiceConnection::ErrorHandler handler)
        : m_connection(connection), m_handler(std::move(handler))
    {
    }

    void getAclEntriesWithUrl(const QUrl &url, EntriesReply reply) override
    {
        call(MGAclRemoteMethod::GetEntries, itemArguments(url), [reply](const QCborMap &map, QString *why) {
            const QCborValue entries = map.value(MGAclProtocol::Field::Entries);
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

    void setAclEntries(const MGAclList &entries, const QUrl &url, ErrorReply reply, const MGAclExpectation &expected,
                       std::optional<mode_t> specialBits) override
    {
        QCborMap extra;
        if (specialBits)
            extra.insert(QString(Key::SpecialBits), qint64(*specialBits));
        sendList(MGAclRemoteMethod::SetEntries, entries, url, expected, std::move(reply), extra);
    }

    void propagateAclEntries(const MGAclList &entries, const QUrl &url, ErrorReply reply,
                             const MGAclExpectation &expected, std::shared_ptr<MGPropagationWatch> watch) override
    {
        QCborMap extra;
        MGServiceConnection::ProgressHandler onProgress;
        if (watch) {
            if (watch->dryRun())
                extra.insert(QString(Key::DryRun), true);
            onProgress = [watch](const QCborMap &report) {
                if (const auto progress = MGPropagationProgress::fromCbor(report.value(MGAclProtocol::Field::Progress), nullptr))
                    watch->report(*progress);
            };
            reply = [watch, reply](MGResultError error) {
                watch->unbind();
                reply(error);
            };
        }
        const quint64 id = sendList(MGAclRemoteMethod::PropagateEntries, entries, url, expected, std::move(reply), extra,
                                    onProgress);
        if (watch) {
            MGServiceConnection *connection = m_connection;
            watch->bind([connection, id] {
                connection->send(MGAclRemoteMethod::StopPropagation, {{QString(Key::Request), qint64(id)}},
                                 [](const QCborMap &) {}, [](const MGError &) {});
            });
        }
    }

    void backupAclEntriesWithUrl(const QUrl &url, TextHandler text, ErrorReply reply, bool itemOnly) override
    {
        QCborMap arguments = itemArguments(url);
        if (itemOnly)
            arguments.insert(QString(Key::ItemOnly), true);
        call(MGAclRemoteMethod::BackupEntries, arguments, errorOnly(reply), textPieces(text));
    }

    static MGServiceConnection::ProgressHandler textPieces(TextHandler text)
    {
        return [text](const QCborMap &report) {
            const QCborValue piece = report.value(MGAclProtocol::Field::Progress).toMap().value(MGAclProtocol::Field::Text);
            if (piece.isByteArray() && !piece.toByteArray().isEmpty())
                text(piece.toByteArray());
        };
    }

    void auditAclAccessWithUrl(const QUrl &url, const QUuid &uuid, const QString &level, bool summary, TextHandler text,
                               ErrorReply reply) override
    {
        QCborMap arguments = itemArguments(url);
        arguments.insert(QString(Key::Identity), uuid.toString(QUuid::WithoutBraces));
        arguments.insert(QString(Key::Level), level);
        arguments.insert(QString(Key::Summary), summary);
        addAccount(arguments, url, uuid);
        call(MGAclRemoteMethod::AuditAccess, arguments, errorOnly(reply), textPieces(text));
    }

    void getAclAccessWithUrl(const QUrl &url, const QUuid &uuid, AccessReply reply,
                             const std::optional<MGAclList> &edited) override
    {
        QCborMap arguments = itemArguments(url);
        arguments.insert(QString(Key::Identity), uuid.toString(QUuid::WithoutBraces));
        addAccount(arguments, url, uuid);
        if (edited)
            arguments.insert(QString(Key::Entries), MGAclLists::toCbor(*edited));
        call(MGAclRemoteMethod::GetAccess, arguments,
             [reply](const QCborMap &map, QString *why) {
                 const QCborValue access = map.value(MGAclProtocol::Field::Access);
                 std::optional<QList<MGTreeNode::Pointer>> tree;
                 if (!access.isUndefined() && !(tree = MGTreeNode::forestFromCbor(access, why)))
                     return false;
                 MGResultError error;
                 if (!decodeError(map, &error, why))
                     return false;
                 const QCborValue blocked = map.value(MGAclProtocol::Field::BlockedBy);
                 if (!blocked.isUndefined() && (!blocked.isString() || blocked.toString().size() > 4096)) {
                     *why = QStringLiteral("the folder that keeps the identity out is not a path");
                     return false;
                 }
                 const QCborValue caveat = map.value(MGAclProtocol::Field::Caveat);
                 if (!caveat.isUndefined() && (!caveat.isString() || caveat.toString().size() > 4096)) {
                     *why = QStringLiteral("the caveat is not a sentence");
                     return false;
                 }
                 reply(tree, error, {blocked.toString(), caveat.toString()});
                 return true;
             });
    }

private:
    using Decoder = std::function<bool(const QCborMap &, QString *why)>;

    static bool decodeError(const QCborMap &map, MGResultError *error, QString *why)
    {
        const QCborValue value = map.value(MGAclProtocol::Field::Error);
        if (value.isUndefined())
            return true;
        *error = MGError::fromCbor(value, why);
        return error->has_value();
    }

    // A list and an item in, only an error back.
    quint64 sendList(MGAclRemoteMethod method, const MGAclList &entries, const QUrl &url,
                     const MGAclExpectation &expected, ErrorReply reply, const QCborMap &extra = {},
                     MGServiceConnection::ProgressHandler onProgress = {})
    {
        QCborMap arguments = itemArguments(url);
        arguments.insert(QString(Key::Entries), MGAclLists::toCbor(entries));
        if (expected.entries)
            arguments.insert(QString(Key::Expected), MGAclLists::toCbor(*expected.entries));
        if (expected.item) {
            arguments.insert(QString(Key::Device), qint64(expected.item->device));
            arguments.insert(QString(Key::Inode), qint64(expected.item->inode));
            if (expected.item->born > 0)
                arguments.insert(QString(Key::Born), expected.item->born);
        }
        for (auto it = extra.constBegin(); it != extra.constEnd(); ++it)
            arguments.insert(it.key(), it.value());
        return call(method, arguments, errorOnly(std::move(reply)), std::move(onProgress));
    }

    // A reply that holds nothing but perhaps an error.
    static Decoder errorOnly(ErrorReply reply)
    {
        return [reply](const QCborMap &map, QString *why) {
            MGResultError error;
            if (!decodeError(map, &error, why))
                return false;
            reply(error);
            return true;
        };
    }

    quint64 call(MGAclRemoteMethod method, const QCborMap &arguments, Decoder decode,
                 MGServiceConnection::ProgressHandler onProgress = {})
    {
        const MGRemoteClasses::Classes allowed = m_connection->allowedClasses(QString::fromLatin1(MGAclProtocol::selector(method)));
        const auto handler = m_handler;
        return m_connection->send(
            method, arguments,
            [decode, allowed, handler](const QCborMap &reply) {
                QString why;
                QCborMap payload = reply;
                payload.remove(MGAclProtocol::Field::Id);
                payload.remove(MGAclProtocol::Field::Error);
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
            handler, std::move(onProgress));
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
