#include "MGAclProtocol.h"

#include "MGAclList.h"
#include "MGCborReader.h"
#include "MGItemPaths.h"

#include <QCborStreamReader>
#include <QUuid>
#include <limits>
#include <sys/stat.h>

namespace {
struct MethodInfo
{
    MGAclRemoteMethod method;
    const char *selector;
    const char *right;
    const char *description; // the misspelt "Acces" is the product's own wording
};

constexpr MethodInfo Table[] = {
    {MGAclRemoteMethod::GetEntries, "getAclEntriesWithUrl:reply:", "com.quillwork.Marrowgate.GetFileAcl",
     "Error retrieving Acces Control List entries"},
    {MGAclRemoteMethod::SetEntries, "setAclEntries:url:reply:", "com.quillwork.Marrowgate.SetFileAcl",
     "Error saving Acces Control List entries"},
    {MGAclRemoteMethod::PropagateEntries, "propagateAclEntries:url:reply:", "com.quillwork.Marrowgate.PropagateFileAcl",
     "Error propagating file Access Control List, POSIX permissions, owner and group"},
    {MGAclRemoteMethod::GetAccess, "getAclAccessWithUrl:uuid:reply:", "com.quillwork.Marrowgate.GetFileAccess",
     "Error retrieving effective file access permissions"},
    // Stopping a propagation takes the right that started it.
    {MGAclRemoteMethod::StopPropagation, "stopPropagation:reply:", "com.quillwork.Marrowgate.PropagateFileAcl",
     "Error stopping the propagation"},
    {MGAclRemoteMethod::BackupEntries, "backupAclEntriesWithUrl:reply:", "com.quillwork.Marrowgate.GetFileAcl",
     "Error backing up Access Control List entries"},
    // An audit reads what a backup reads, and takes the same right.
    {MGAclRemoteMethod::AuditAccess, "auditAclAccessWithUrl:uuid:level:reply:", "com.quillwork.Marrowgate.GetFileAcl",
     "Error auditing access below the item"},
};

using MGAclProtocol::Argument;
using MGAclProtocol::ArgumentType;
namespace Key = MGAclProtocol::Key;

constexpr Argument ReadArguments[] = {{Key::Path, ArgumentType::Path}, {Key::Credentials, ArgumentType::Credentials, true}};
constexpr Argument BackupArguments[] = {{Key::Path, ArgumentType::Path}, {Key::ItemOnly, ArgumentType::Flag, true}};
constexpr Argument SetArguments[] = {{Key::Path, ArgumentType::Path},
                                     {Key::Entries, ArgumentType::Entries},
                                     {Key::Expected, ArgumentType::Entries, true},
                                     {Key::Device, ArgumentType::Number, true},
                                     {Key::Inode, ArgumentType::Number, true},
                                     {Key::Born, ArgumentType::Number, true},
                                     {Key::SpecialBits, ArgumentType::SpecialBits, true},
                                     {Key::Credentials, ArgumentType::Credentials, true}};
constexpr Argument PropagateArguments[] = {{Key::Path, ArgumentType::Path},
                                           {Key::Entries, ArgumentType::Entries},
                                           {Key::Expected, ArgumentType::Entries, true},
                                           {Key::DryRun, ArgumentType::Flag, true},
                                           {Key::Device, ArgumentType::Number, true},
                                           {Key::Inode, ArgumentType::Number, true},
                                           {Key::Born, ArgumentType::Number, true},
                                           {Key::Credentials, ArgumentType::Credentials, true}};
// With entries, the access an edited list would give: the item is read, not changed.
constexpr Argument AccessArguments[] = {{Key::Path, ArgumentType::Path},
                                        {Key::Identity, ArgumentType::Identity},
                                        {Key::Entries, ArgumentType::Entries, true},
                                        {Key::Account, ArgumentType::Account, true},
                                        {Key::Credentials, ArgumentType::Credentials, true}};
constexpr Argument StopArguments[] = {{Key::Request, ArgumentType::RequestNumber}};
constexpr Argument AuditArguments[] = {{Key::Path, ArgumentType::Path},
                                       {Key::Identity, ArgumentType::Identity},
                                       {Key::Level, ArgumentType::Level},
                                       {Key::Summary, ArgumentType::Flag, true},
                                       {Key::Account, ArgumentType::Account, true},
                                       {Key::Credentials, ArgumentType::Credentials, true}};

// Whether one argument's value is of its type; says why not in `read`.
bool check(const Argument &argument, const QCborMap &map, MGCborReader &read)
{
    const QString what = QStringLiteral("argument record");
    const QString name = argument.name;
    const QCborValue value = map.value(name);
    switch (argument.type) {
    case ArgumentType::Path: {
        if (!value.isByteArray())
            return read.fail(QStringLiteral("the item is not a path"));
        const QByteArray path = value.toByteArray();
        return (path.startsWith('/') || MGItemPaths::isServerPath(path)) && !path.contains('\0')
            ? true
            : read.fail(QStringLiteral("the item is not an absolute path"));
    }
    case ArgumentType::Entries: {
        // Read entry by entry here, so that no malformed list reaches an authorisation.
        QString why;
        return value.isArray() && MGAclLists::fromCbor(value, &why)
            ? true
            : read.fail(why.isEmpty() ? QStringLiteral("the argument \u201c%1\u201d is not an entry list").arg(name) : why);
    }
    case ArgumentType::Identity:
        return value.isString() && !QUuid(value.toString()).isNull() ? true
                                                                      : read.fail(QStringLiteral("the identity is not a UUID"));
    case ArgumentType::RequestNumber:
    case ArgumentType::Number:
        return read.integer(map, what, name, 0, std::numeric_limits<qint64>::max()).has_value();
    case ArgumentType::SpecialBits: {
        constexpr qint64 special = S_ISUID | S_ISGID | S_ISVTX;
        const std::optional<qint64> bits = read.integer(map, what, name, 0, special);
        if (!bits)
            return false;
        return (*bits & ~special) ? read.fail(QStringLiteral("the special bits are not set-id and sticky bits")) : true;
    }
    case ArgumentType::Level: {
        const std::optional<QString> level = read.text(map, what, name, 16);
        if (!level)
            return false;
        for (const char *word : MGAclProtocol::Levels) {
            if (*level == QLatin1String(word))
                return true;
        }
        return read.fail(QStringLiteral("the access level is not read, write or any"));
    }
    case ArgumentType::Flag:
        return read.boolean(map, what, name).has_value();
    case ArgumentType::Credentials: {
        const QString kind = QStringLiteral("credentials");
        const std::optional<QCborMap> fields = read.map(value, kind, {QStringLiteral("user"), QStringLiteral("password"), QStringLiteral("domain")});
        return fields && read.text(*fields, kind, QStringLiteral("user"), 256) && read.text(*fields, kind, QStringLiteral("domain"), 256)
            && read.bytes(*fields, kind, QStringLiteral("password"), 1024);
    }
    case ArgumentType::Account:
        return value.isString() && !value.toString().isEmpty() && value.toString().size() <= 512
            ? true
            : read.fail(QStringLiteral("the account is not a name"));
    }
    return false;
}

const MethodInfo &info(MGAclRemoteMethod method)
{
    for (const MethodInfo &row : Table) {
        if (row.method == method)
            return row;
    }
    Q_UNREACHABLE();
}
}

namespace MGAclProtocol {

std::span<const Argument> arguments(MGAclRemoteMethod method)
{
    switch (method) {
    case MGAclRemoteMethod::GetEntries:
        return ReadArguments;
    case MGAclRemoteMethod::BackupEntries:
        return BackupArguments;
    case MGAclRemoteMethod::SetEntries:
        return SetArguments;
    case MGAclRemoteMethod::PropagateEntries:
        return PropagateArguments;
    case MGAclRemoteMethod::GetAccess:
        return AccessArguments;
    case MGAclRemoteMethod::StopPropagation:
        return StopArguments;
    case MGAclRemoteMethod::AuditAccess:
        return AuditArguments;
    }
    return {};
}

std::optional<QString> argumentProblem(MGAclRemoteMethod method, const QCborValue &value)
{
    QString why;
    MGCborReader read(&why);
    QStringList required, optional;
    for (const Argument &argument : arguments(method))
        (argument.optional ? optional : required) << QString(argument.name);
    const std::optional<QCborMap> map = read.map(value, QStringLiteral("argument record"), required, optional);
    if (!map)
        return why;
    for (const Argument &argument : arguments(method)) {
        if (map->contains(QString(argument.name)) && !check(argument, *map, read))
            return why;
    }
    return std::nullopt;
}

const char *selector(MGAclRemoteMethod method)
{
    return info(method).selector;
}

const char *right(MGAclRemoteMethod method)
{
    return info(method).right;
}

QString description(MGAclRemoteMethod method)
{
    return QString::fromUtf8(info(method).description);
}

std::optional<MGAclRemoteMethod> methodForSelector(const QString &name)
{
    for (const MethodInfo &row : Table) {
        if (name == QLatin1String(row.selector))
            return row.method;
    }
    return std::nullopt;
}

std::chrono::milliseconds timeLimit(MGAclRemoteMethod method)
{
    using namespace std::chrono_literals;
    switch (method) {
    case MGAclRemoteMethod::GetEntries:
    case MGAclRemoteMethod::GetAccess:
    case MGAclRemoteMethod::StopPropagation:
        return 30s;
    case MGAclRemoteMethod::SetEntries:
    case MGAclRemoteMethod::PropagateEntries:
    case MGAclRemoteMethod::BackupEntries:
    case MGAclRemoteMethod::AuditAccess:
        return 60s;
    }
    return 60s;
}

QCborMap request(quint64 id, MGAclRemoteMethod method, const QString &locale, const QCborMap &arguments)
{
    QCborMap map;
    map.insert(MGAclProtocol::Field::Id, qint64(id));
    map.insert(MGAclProtocol::Field::Method, QString::fromLatin1(selector(method)));
    map.insert(MGAclProtocol::Field::Locale, locale);
    map.insert(MGAclProtocol::Field::Arguments, arguments);
    return map;
}
}

namespace MGAclProtocol {
std::optional<qint64> requestNumber(const QCborValue &id)
{
    if (!id.isInteger() || id.toInteger() < 0)
        return std::nullopt;
    return id.toInteger();
}

namespace {
// Steps over the value under the reader, a tagged one with its tag: the stream gives a tag
// as an element of its own, before the value it tags.
bool skipValue(QCborStreamReader &reader)
{
    while (reader.isTag() && reader.next()) {
    }
    return reader.lastError() == QCborError::NoError && reader.next();
}
}

Header peek(const QByteArray &request)
{
    Header header;
    QCborStreamReader reader(request);
    if (!reader.isMap() || !reader.enterContainer())
        return header;
    while (reader.lastError() == QCborError::NoError && reader.hasNext()) {
        QString key;
        if (reader.isString()) {
            for (auto chunk = reader.readString(); chunk.status == QCborStreamReader::Ok; chunk = reader.readString())
                key += chunk.data;
        } else if (!skipValue(reader)) {
            break;
        }
        if (key == Field::Id && reader.isUnsignedInteger()) {
            const quint64 id = reader.toUnsignedInteger();
            header.id = id <= quint64(std::numeric_limits<qint64>::max()) ? qint64(id) : -1;
            reader.next();
        } else if (key == Field::Method && reader.isString()) {
            QString selector;
            for (auto chunk = reader.readString(); chunk.status == QCborStreamReader::Ok; chunk = reader.readString())
                selector += chunk.data;
            header.method = methodForSelector(selector);
        } else if (!skipValue(reader)) {
            break;
        }
    }
    return header;
}
}
