#pragma once

#include "MGAclProtocol.h"
#include "MGConnector.h"

#include <memory>
#include <variant>

// The editor's side of the ACL service: the four operations, each made first over the
// ordinary connection and, when the service answers with a permission error, once more
// over the privileged connection after the operation's right has been obtained. Connection
// and authorisation failures are wrapped in the operation's description; errors the
// service answers are passed on as they came; a dismissed authorisation is silent.
//
// Calls are made on the work queue (queue()); every answer arrives on a connection's
// reply thread.
class MGAclServiceClient : public MGConnector, public std::enable_shared_from_this<MGAclServiceClient>
{
public:
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

    // A client owned by shared pointers; calls in flight hold it until they have answered.
    static std::shared_ptr<MGAclServiceClient> client(const QString &queueLabel);
    ~MGAclServiceClient() override;
    // Destroys a client whose last holder let go on any thread: a client ends its work
    // queue, which must not happen on that queue or a reply thread, so it is destroyed on
    // the main thread (at once when it is let go there).
    static void release(MGAclServiceClient *client);

    // What the replies of the two reading methods may hold.
    QHash<QString, MGRemoteClasses::Classes> remoteEncodableClasses() const override;

    // The entries of an item; a dismissed authorisation answers neither entries nor error.
    void getEntriesWithUrl(const QUrl &url, MGAclServiceProxy::EntriesReply reply);
    // The effective-access tree; after a privileged retry the retry's own error is not
    // passed on.
    void getAccessWithUrl(const QUrl &url, const QUuid &uuid, MGAclServiceProxy::AccessReply reply,
                          const std::optional<MGAclList> &edited = std::nullopt);
    // Writes (SetEntries) or propagates (PropagateEntries) a list; with `expected`, only while
    // the item still holds what it held when it was read (and is still the file read).
    // A propagation with a watch reports to it and can be stopped through it.
    void sendEntries(MGAclRemoteMethod method, const MGAclList &entries, const QUrl &url,
                     std::function<void(Outcome<std::monostate>)> done, MGAclExpectation expected = {},
                     std::shared_ptr<MGPropagationWatch> watch = {});
    // Writes a list and gives the item these set-id and sticky bits, as a restore does.
    void restoreEntries(const MGAclList &entries, mode_t specialBits, const QUrl &url,
                        std::function<void(Outcome<std::monostate>)> done, MGAclExpectation expected = {});
    // The item's and everything below it's ACLs in getfacl's text form, in pieces. Retried
    // with privileges only when the item itself could not be read (nothing was written);
    // items below that cannot be read are reported in the error.
    void backupWithUrl(const QUrl &url, MGAclServiceProxy::TextHandler text, std::function<void(Outcome<std::monostate>)> done,
                       bool itemOnly = false);
    // Where below the item the identity has `level` access: the whole text, from the
    // privileged service when some folder below could not be read as the user.
    void auditWithUrl(const QUrl &url, const QUuid &uuid, const QString &level, bool summary,
                      std::function<void(Outcome<QByteArray>)> done);

    // For an item on a file server (`item`), a permission error asks for another account of
    // that server (MGServerLogins::ask) instead of an authorisation, and the one retry is made
    // with it over the ordinary connection: the privileged service never reaches a server.
    template <typename Result>
    void performRemote(MGAclRemoteMethod method, Invoke<Result> invoke, std::function<void(Outcome<Result>)> done,
                       const QUrl &item = QUrl());

protected:
    explicit MGAclServiceClient(const QString &queueLabel);
};
