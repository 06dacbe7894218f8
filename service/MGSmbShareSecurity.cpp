#include "MGSmbShareSecurity.h"

#include "MGNdr.h"
#include "MGNtBinaryDescriptor.h"
#include "MGSmbAuthority.h"
#include "MGSmbRpcPipe.h"
#include "NTLocalizedString.h"

#include <QUrl>
#include <cerrno>

namespace {
// The server service's interface, version 3.0, and its call for one share's information.
const MGSmbRpcPipe::Interface ServerService{QUuid(0x4b324fc8, 0x1670, 0x01d3, 0x12, 0x78, 0x5a, 0x47, 0xbf, 0x6e, 0xe1, 0x88), 3, 0};
constexpr quint16 NetShareGetInfo = 16;
constexpr quint32 Level = 502;
constexpr quint32 AccessDenied = 5;

MGError nonsense(const QString &why)
{
    return MGError::posixError(EPROTO, QStringLiteral("The server described a share in a form that cannot be read: %1.").arg(why));
}

// The encoded reply to the call; the pipe is closed when it returns.
MGResult<QByteArray> shareInformation(const MGSmbClient &client, const QString &server, const QString &share)
{
    MGResult<MGSmbRpcPipe> pipe = MGSmbRpcPipe::open(client, server, QStringLiteral("srvsvc"), ServerService);
    if (!pipe)
        return pipe.error();
    MGNdrWriter request;
    request.u32(0x00020000); // the server's name is optional: a reference to it
    request.string(QStringLiteral("\\\\") + server);
    request.string(share);
    request.u32(Level);
    return pipe->call(NetShareGetInfo, request.data());
}
}

MGResult<std::optional<MGNtSecurityDescriptor>> MGSmbShareSecurity::descriptorFor(const QByteArray &url) const
{
    const QUrl item = QUrl::fromEncoded(url);
    const QString share = item.path().section(QLatin1Char('/'), 1, 1);
    if (share.isEmpty())
        return std::optional<MGNtSecurityDescriptor>();
    const MGResult<QByteArray> reply = shareInformation(m_client, item.host(), share);
    if (!reply)
        return reply.error();
    // The reply: the level, a reference to the information (or none), the information's fixed
    // part, what its references point to in their order, and the call's status last.
    MGNdrReader r(*reply);
    const auto level = r.u32(), info = r.u32();
    if (!info)
        return nonsense(QStringLiteral("the reply is empty"));
    if (!*info) {
        const auto status = r.u32();
        if (status && *status == AccessDenied)
            return std::optional<MGNtSecurityDescriptor>();
        return MGError::posixError(EIO, QStringLiteral("The server did not describe the share \u201c%1\u201d (status %2).")
                                            .arg(share)
                                            .arg(status ? *status : 0));
    }
    if (*level != Level)
        return nonsense(QStringLiteral("it answered with level %1").arg(*level));
    std::optional<quint32> fixed[10];
    for (auto &field : fixed)
        field = r.u32();
    if (!fixed[9])
        return nonsense(QStringLiteral("the share information is cut short"));
    // Name, comment, path and password are strings, each where its reference is not null.
    for (const int field : {0, 2, 6, 7}) {
        if (*fixed[field] && !r.string())
            return nonsense(QStringLiteral("a string is cut short"));
    }
    if (!*fixed[9])
        return std::optional<MGNtSecurityDescriptor>();
    const auto size = r.u32();
    if (!size || *size > 0x40000)
        return nonsense(QStringLiteral("the descriptor has no size"));
    const auto bytes = r.bytes(*size);
    if (!bytes)
        return nonsense(QStringLiteral("the descriptor is cut short"));
    MGResult<MGNtSecurityDescriptor> descriptor = MGNtBinaryDescriptor::parse(*bytes);
    if (!descriptor)
        return descriptor.error();
    // Entries come by SID alone; the server's names make them readable, and match aliases
    // known by name. A server that does not name them leaves them as SIDs.
    QStringList sids;
    for (const MGNtAce &ace : descriptor->aces) {
        if (!ace.isOtherKind())
            sids << ace.sid;
    }
    if (const MGResult<QHash<QString, QString>> names = MGSmbAuthority(m_client).namesOf(item.host(), sids)) {
        for (MGNtAce &ace : descriptor->aces)
            ace.name = names->value(ace.sid);
    }
    return std::optional<MGNtSecurityDescriptor>(*descriptor);
}

QString MGSmbShareSecurity::notCounted()
{
    return NTLocalizedString::localize(QStringLiteral("The share\u2019s own permissions, which the server does not show to "
                                                      "this login, are not counted: they may refuse what is granted here."),
                                       QStringLiteral("ACL"));
}

std::optional<MGNtSecurityDescriptor> MGSmbShareSecurity::shownDescriptorFor(const QByteArray &url) const
{
    const MGResult<std::optional<MGNtSecurityDescriptor>> shown = descriptorFor(url);
    return shown ? *shown : std::nullopt;
}
