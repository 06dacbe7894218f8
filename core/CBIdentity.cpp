#include "CBIdentity.h"

#include "NTLocalizedString.h"

namespace {
const QString UserPrefix = QStringLiteral("FFFFEEEE-DDDD-CCCC-BBBB-AAAA");
const QString GroupPrefix = QStringLiteral("ABCDEFAB-CDEF-ABCD-EFAB-CDEF");
}

CBIdentity::CBIdentity(Class identityClass, quint32 posixID, QString posixName, QString fullName)
    : m_class(identityClass), m_posixID(posixID), m_posixName(std::move(posixName)), m_fullName(std::move(fullName))
{
}

CBIdentity CBIdentity::user(uid_t uid, const QString &name, const QString &fullName)
{
    return CBIdentity(Class::User, uid, name, fullName);
}

CBIdentity CBIdentity::group(gid_t gid, const QString &name, const QString &fullName)
{
    return CBIdentity(Class::Group, gid, name, fullName);
}

CBIdentity CBIdentity::principal(const QString &sid, const QString &name)
{
    CBIdentity identity(Class::Principal, 0, name, QString());
    identity.m_sid = sid.toUpper();
    return identity;
}

QUuid CBIdentity::uuidFor(Class identityClass, quint32 posixID)
{
    if (identityClass != Class::User && identityClass != Class::Group)
        return QUuid();
    const QString &prefix = identityClass == Class::User ? UserPrefix : GroupPrefix;
    return QUuid(prefix + QStringLiteral("%1").arg(posixID, 8, 16, QLatin1Char('0')).toUpper());
}

std::pair<CBIdentity::Class, quint32> CBIdentity::decodeUuid(const QUuid &uuid)
{
    const QString text = uuid.toString(QUuid::WithoutBraces).toUpper();
    for (Class c : {Class::User, Class::Group}) {
        const QString &prefix = c == Class::User ? UserPrefix : GroupPrefix;
        if (text.startsWith(prefix)) {
            bool ok = false;
            const quint32 id = text.mid(prefix.size()).toUInt(&ok, 16);
            if (ok)
                return {c, id};
        }
    }
    return {Class::None, 0};
}

QString CBIdentity::displayName() const
{
    const QString acl = QStringLiteral("ACL");
    switch (m_class) {
    case Class::None:
        return QString();
    case Class::OwnerSpecial:
        return NTLocalizedString::localize(QStringLiteral("Owner"), acl);
    case Class::GroupSpecial:
        return NTLocalizedString::localize(QStringLiteral("Group"), acl);
    case Class::EveryoneSpecial:
        return NTLocalizedString::localize(QStringLiteral("Everyone"), acl);
    case Class::MaskSpecial:
        return NTLocalizedString::localize(QStringLiteral("Mask"), acl);
    case Class::Principal:
        return m_posixName.isEmpty() ? m_sid : m_posixName;
    default:
        // An id without an account is shown in a form no name can take (no name holds a
        // colon), so "5000" the name and 5000 the id are never mistaken for each other.
        if (m_posixName.isEmpty())
            return QStringLiteral("%1:%2").arg(isUser() ? QStringLiteral("uid") : QStringLiteral("gid")).arg(m_posixID);
        return m_posixName;
    }
}
