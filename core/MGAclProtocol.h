#pragma once

#include <QCborMap>
#include <QLatin1String>
#include <QString>
#include <chrono>
#include <optional>
#include <span>

// The ACL service's remote methods, one per operation of the editor.
enum class MGAclRemoteMethod
{
    GetEntries,
    SetEntries,
    PropagateEntries,
    GetAccess,
    StopPropagation,
    BackupEntries,
    AuditAccess
};

// What the editor and the ACL service agree on, in one place: the remote methods with the
// authorisation right that covers each on the privileged service and the description a
// failed call is reported under, the privileged service's names on the system bus, and
// the shape of requests.
//
// A request is the CBOR map {"id": n, "method": selector, "locale": "de_DE", "args": {...}};
// its reply is {"id": n} and the method's result ("entries", "access") or an "error". While a
// long call runs, the service may send {"id": n, "progress": {...}} for it, any number of
// times, before the reply: a propagation how far it has come (MGPropagationProgress, the
// last one finished, with the whole summary), a backup the next piece of its text
// ({"text": bytes}). StopPropagation ({"request": n}) stops the caller's own propagation
// with that number, at the next folder; a backup walks like a propagation and writes what
// it finds in the text form of getfacl. An audit ({"path", "uuid", "level": "read" |
// "write" | "any", "summary": bool}) walks the same way and sends, as text pieces, the
// items where the identity has that access with the entry that grants it, or counts only.
namespace MGAclProtocol {

inline constexpr MGAclRemoteMethod Methods[] = {
    MGAclRemoteMethod::GetEntries,      MGAclRemoteMethod::SetEntries,    MGAclRemoteMethod::PropagateEntries,
    MGAclRemoteMethod::GetAccess,       MGAclRemoteMethod::StopPropagation, MGAclRemoteMethod::BackupEntries,
    MGAclRemoteMethod::AuditAccess};

// The method's name in requests (its selector).
const char *selector(MGAclRemoteMethod method);
// The authorisation right that covers the method on the privileged service.
const char *right(MGAclRemoteMethod method);
// The description a connection or authorisation failure of the method is wrapped in.
QString description(MGAclRemoteMethod method);
std::optional<MGAclRemoteMethod> methodForSelector(const QString &selector);
// How long a call may go without an answer before the caller gives up on the service:
// seconds for reading and writing one item; for propagation, how long it may go without a
// progress report (the service reports while it walks).
std::chrono::milliseconds timeLimit(MGAclRemoteMethod method);

// The fields of a request ({"id", "method", "locale", "args"}), of a reply ({"id"} and one of
// "entries", "access" with "blockedBy" and "caveat", "items", or "error") and of a progress report
// ({"id", "progress"}, a backup's or an audit's holding "text").
namespace Field {
inline constexpr QLatin1String Id("id");
inline constexpr QLatin1String Method("method");
inline constexpr QLatin1String Locale("locale");
inline constexpr QLatin1String Arguments("args");
inline constexpr QLatin1String Entries("entries");
inline constexpr QLatin1String Access("access");
inline constexpr QLatin1String BlockedBy("blockedBy");
inline constexpr QLatin1String Caveat("caveat"); // a sentence on what an access answer does not count
inline constexpr QLatin1String Items("items");
inline constexpr QLatin1String Error("error");
inline constexpr QLatin1String Progress("progress");
inline constexpr QLatin1String Text("text");
}

// The arguments of the methods, by name: the client builds requests with these names and
// the service checks every request against the table below before anything else.
namespace Key {
inline constexpr QLatin1String Path("path"); // bytes: an absolute path, or an smb:// URL (MGItemPaths)
inline constexpr QLatin1String Entries("entries"); // an entry list
inline constexpr QLatin1String Expected("expected"); // the list the item must still hold
inline constexpr QLatin1String Identity("uuid"); // text: a user's or group's UUID
inline constexpr QLatin1String Request("request"); // the number of the caller's propagation
inline constexpr QLatin1String Level("level"); // "read", "write" or "any"
inline constexpr QLatin1String DryRun("dryRun"); // true or false
inline constexpr QLatin1String Summary("summary"); // true or false
inline constexpr QLatin1String Device("device"); // with "inode" (and "born"): the file the item must still be
inline constexpr QLatin1String Inode("inode");
inline constexpr QLatin1String Born("born"); // nanoseconds since the epoch
inline constexpr QLatin1String ItemOnly("itemOnly"); // true or false: a backup of the item alone
inline constexpr QLatin1String Credentials("credentials"); // {"user", "password", "domain"}: a file server's account
inline constexpr QLatin1String Account("account"); // text: a file server's account asked about (its name or SID)
inline constexpr QLatin1String SpecialBits("specialBits"); // set-id and sticky bits to give the item (S_ISUID | S_ISGID | S_ISVTX)
}

// What an argument must be.
enum class ArgumentType { Path, Entries, Identity, RequestNumber, Level, Flag, Number, SpecialBits, Credentials, Account };
struct Argument
{
    QLatin1String name;
    ArgumentType type;
    bool optional = false;
};
// Each method's arguments; a request holds these and nothing else.
std::span<const Argument> arguments(MGAclRemoteMethod method);
// The words an audit's level may be.
inline constexpr const char *Levels[] = {"read", "write", "any"};
// What is wrong with a request's arguments for `method`: not a map, a name the method does
// not take or one it needs missing, a value of the wrong type or outside its values (a path
// that is not absolute, a level that is none of Levels, an identity that is no UUID, a
// negative request number). Nothing when all is as the table says; an entry list is read,
// and checked entry by entry, only when it is used.
std::optional<QString> argumentProblem(MGAclRemoteMethod method, const QCborValue &arguments);

// The privileged service on the system bus.
inline constexpr const char *ServiceName = "com.quillwork.Marrowgate.AclService";
inline constexpr const char *ObjectPath = "/com/quillwork/Marrowgate/AclService";
inline constexpr const char *Interface = "com.quillwork.Marrowgate.AclService";

// A request as it crosses the connection: number, method, the caller's language and the
// method's arguments.
QCborMap request(quint64 id, MGAclRemoteMethod method, const QString &locale, const QCborMap &arguments);
// The number and method of an encoded request, read without decoding its arguments;
// nothing when it has no such fields. Only a guess at what the request says (a field given
// twice is read as its last): what it does is decided on the request as checked.
struct Header
{
    qint64 id = -1;
    std::optional<MGAclRemoteMethod> method;
};
Header peek(const QByteArray &request);
// A request or reply number: a whole number of at least 0, never another kind of number
// converted (a double such as 1e30 or NaN has no integer value).
std::optional<qint64> requestNumber(const QCborValue &id);
}
