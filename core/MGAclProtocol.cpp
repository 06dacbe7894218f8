#include "MGAclProtocol.h"

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
        return 30s;
    case MGAclRemoteMethod::SetEntries:
    case MGAclRemoteMethod::PropagateEntries:
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
