#pragma once

#include "MGAclList.h"
#include "MGAclServiceProxy.h"
#include "MGConnector.h"

#include <QUrl>
#include <memory>

// The plug-in object: one ACL window for one item.
class MGAclPlugin : public MGConnector, public std::enable_shared_from_this<MGAclPlugin>
{
    Q_OBJECT
public:
    using Pointer = std::shared_ptr<MGAclPlugin>;

    // The four operations of the ACL service, each with its right and its error description.
    enum class Operation { ReadEntries, WriteEntries, Propagate, ReadAccess };
    static const char *rightFor(Operation operation);
    static QString descriptionFor(Operation operation);

    // How one operation ended after the ordinary attempt and, where needed, the one
    // privileged retry.
    template <typename Result>
    struct Outcome
    {
        enum Kind { Succeeded, Failed, Cancelled } kind;
        std::optional<Result> result;
        MGResultError error; // Failed: what to show (may be empty)
        bool fromPrivilegedReply = false; // Failed: the privileged call itself answered the error
    };
    template <typename Result>
    using Invoke = std::function<void(MGAclServiceProxy &proxy,
                                      std::function<void(std::optional<Result>, MGResultError)> reply)>;

    static Pointer plugin();
    ~MGAclPlugin() override;

    QHash<QString, MGRemoteClasses::Classes> remoteEncodableClasses() const override;
    std::optional<QHash<QString, MGRemoteClasses::Classes>> exportedEncodableClasses() const override;

    // Reads an item's entries. The reply gets the entries, or the error to show, or neither
    // when the user dismissed the authorisation.
    void getEntriesWithUrl(const QUrl &url, MGAclServiceProxy::EntriesReply reply);
    // Reads the effective-access tree, with the same three answers. A privileged retry that
    // fails is answered with neither.
    void getAccessWithUrl(const QUrl &url, const QUuid &uuid, MGAclServiceProxy::AccessReply reply);
    // Writes or propagates a list; the reply's outcome says what to show.
    void sendEntries(Operation operation, const MGAclList &entries, const QUrl &url,
                     std::function<void(Outcome<std::monostate>)> done);

    // The pattern every operation follows: the ordinary connection first; after a
    // permission error, the operation's right and one call on the privileged connection.
    // Connection and authorisation failures are wrapped with the operation's description;
    // errors the service returns are passed on as they are.
    template <typename Result>
    void performRemote(Operation operation, Invoke<Result> invoke, std::function<void(Outcome<Result>)> done);

protected:
    MGAclPlugin();
    // Makes the shared pointer that owns a plug-in object (or a subclass's).
    template <typename T>
    static std::shared_ptr<T> adopt(T *object);

private:
    static void destroy(QObject *object);
};

template <typename T>
std::shared_ptr<T> MGAclPlugin::adopt(T *object)
{
    return std::shared_ptr<T>(object, [](T *o) { destroy(o); });
}
