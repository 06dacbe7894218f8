#pragma once

#include <QMetaType>
#include <QString>
#include <QUuid>
#include <sys/types.h>

// A user or a group of the system's account database, or an account of a file server known
// by its security identifier (SID), as a value.
class CBIdentity
{
public:
    // Besides users and groups, the principals that a folder's inheritable entries name
    // in POSIX ACLs: whoever will own a new item, its owning group, everyone else, and the
    // mask that limits named entries.
    enum class Class { None = 0, User = 1, Group = 2, OwnerSpecial = 3, GroupSpecial = 4, EveryoneSpecial = 5,
                       MaskSpecial = 6,
                       // An account of a file server: a user, a group or a well-known principal
                       // (Everyone, Creator Owner), named by its SID and by the server's name for it.
                       Principal = 7 };
    static constexpr int LastClass = 7;

    CBIdentity() = default;
    CBIdentity(Class identityClass, quint32 posixID, QString posixName, QString fullName);

    static CBIdentity user(uid_t uid, const QString &name = QString(), const QString &fullName = QString());
    static CBIdentity group(gid_t gid, const QString &name = QString(), const QString &fullName = QString());
    static CBIdentity special(Class identityClass) { return CBIdentity(identityClass, 0, QString(), QString()); }
    // A file server's account: its SID ("S-1-5-21-…") and the server's name for it ("DOMAIN\name",
    // "Everyone"); either may be empty (a SID the server cannot name, a name not yet looked up).
    static CBIdentity principal(const QString &sid, const QString &name);

    // Local uids and gids map onto fixed UUID prefixes followed by the id in 8 hex digits.
    static QUuid uuidFor(Class identityClass, quint32 posixID);
    // The class and id a UUID stands for; Class::None when it is not a local identity's.
    static std::pair<Class, quint32> decodeUuid(const QUuid &uuid);

    bool isValid() const { return m_class != Class::None; }
    Class identityClass() const { return m_class; }
    bool isUser() const { return m_class == Class::User; }
    bool isGroup() const { return m_class == Class::Group; }
    bool isPrincipal() const { return m_class == Class::Principal; }
    // A named account, as opposed to the special principals of POSIX ACLs.
    bool isUserOrGroup() const { return isUser() || isGroup() || isPrincipal(); }
    bool isSpecial() const { return int(m_class) >= int(Class::OwnerSpecial); }
    quint32 posixID() const { return m_posixID; }
    // A principal's SID; empty for local accounts.
    const QString &sid() const { return m_sid; }
    const QString &posixName() const { return m_posixName; }
    // The account's descriptive name (GECOS for users); the POSIX name when there is none.
    QString fullName() const { return m_fullName.isEmpty() ? displayName() : m_fullName; }
    QUuid uniqueIdentifier() const { return isUser() || isGroup() ? uuidFor(m_class, m_posixID) : QUuid(); }
    // The name shown to the user: the POSIX name, "uid:N" or "gid:N" for an id without
    // one, or the translated name of a special principal.
    QString displayName() const;

    // Identities are the same when they denote the same account; names are descriptive.
    bool operator==(const CBIdentity &other) const
    {
        if (m_class != other.m_class)
            return false;
        if (isPrincipal())
            return m_sid.isEmpty() || other.m_sid.isEmpty() ? m_posixName.compare(other.m_posixName, Qt::CaseInsensitive) == 0
                                                            : m_sid == other.m_sid;
        return !isUserOrGroup() || m_posixID == other.m_posixID;
    }

private:
    Class m_class = Class::None;
    quint32 m_posixID = 0;
    QString m_posixName;
    QString m_fullName;
    QString m_sid;
};

Q_DECLARE_METATYPE(CBIdentity)
