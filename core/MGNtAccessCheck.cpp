#include "MGNtAccessCheck.h"

#include "MGAclPermissionSet.h"

QSet<QString> MGNtToken::networkLoginSids()
{
    const QHash<QString, QString> names = networkLoginNames();
    return QSet<QString>(names.keyBegin(), names.keyEnd());
}

QHash<QString, QString> MGNtToken::networkLoginNames()
{
    return {{QStringLiteral("S-1-1-0"), QStringLiteral("Everyone")},
            {QStringLiteral("S-1-5-2"), QStringLiteral("NT AUTHORITY\\NETWORK")},
            {QStringLiteral("S-1-5-11"), QStringLiteral("NT AUTHORITY\\Authenticated Users")}};
}

namespace {
constexpr quint32 InheritOnly = 0x08;
constexpr quint32 OwnersOwn = MGAclPermission::ReadAcl | MGAclPermission::WriteAcl;

// Entries of other kinds (object, callback) are not judged: the caller says so.
bool appliesToItem(const MGNtAce &ace)
{
    return !(ace.flags & InheritOnly) && !ace.isOtherKind();
}
}

MGNtAccessCheck::Decision MGNtAccessCheck::decide(const MGNtSecurityDescriptor &descriptor, const MGNtToken &token,
                                                  quint32 right)
{
    const bool owner = !descriptor.ownerSid.isEmpty() && token.holds(descriptor.ownerSid);
    const bool ownerRightsSaid = std::any_of(descriptor.aces.begin(), descriptor.aces.end(), [](const MGNtAce &ace) {
        return appliesToItem(ace) && ace.sid == OwnerRights;
    });
    // So do a privilege's: no Deny takes them away.
    if (right == MGAclPermission::WriteOwner && token.privileges.contains(TakeOwnership))
        return {Decision::Privilege, true, -1};
    // The owner's own rights come before every entry: no Deny takes them away.
    if ((right & OwnersOwn) && owner && !ownerRightsSaid)
        return {Decision::Owner, true, -1};
    for (qsizetype i = 0; i < descriptor.aces.size(); ++i) {
        const MGNtAce &ace = descriptor.aces[i];
        if (!appliesToItem(ace) || !(MGNtSecurityDescriptor::mapGenericRights(ace.mask) & right))
            continue;
        const bool names = token.holds(ace) || (ace.sid == OwnerRights && owner);
        if (names)
            return {Decision::Entry, ace.type == MGNtAce::Allowed, int(i)};
        if (token.mayHold(ace))
            return {Decision::Unknown, false, int(i)};
    }
    return {Decision::NoEntry, false, -1};
}
