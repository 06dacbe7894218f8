#include "MGAclProtocol.h"

#include <QCborStreamReader>

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
    map.insert(QStringLiteral("id"), qint64(id));
    map.insert(QStringLiteral("method"), QString::fromLatin1(selector(method)));
    map.insert(QStringLiteral("locale"), locale);
    map.insert(QStringLiteral("args"), arguments);
    return map;
}
}

namespace MGAclProtocol {
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
        } else if (!reader.next()) {
            break;
        }
        if (key == QLatin1String("id") && reader.isUnsignedInteger()) {
            header.id = qint64(reader.toUnsignedInteger());
            reader.next();
        } else if (key == QLatin1String("method") && reader.isString()) {
            QString selector;
            for (auto chunk = reader.readString(); chunk.status == QCborStreamReader::Ok; chunk = reader.readString())
                selector += chunk.data;
            header.method = methodForSelector(selector);
        } else if (!reader.next()) {
            break;
        }
    }
    return header;
}
}
