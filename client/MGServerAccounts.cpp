#include "MGServerAccounts.h"

#include <QHash>
#include <QMutex>

namespace {
QMutex lock;
QHash<QUuid, QString> &accounts()
{
    static QHash<QUuid, QString> byUuid;
    return byUuid;
}
}

namespace MGServerAccounts {
QUuid uuidFor(const CBIdentity &principal)
{
    const QString account = principal.posixName().isEmpty() ? principal.sid() : principal.posixName();
    static const QUuid space(QStringLiteral("6f1c2a44-0b7e-4d55-9a39-2f7d8e4c5a10"));
    const QUuid uuid = QUuid::createUuidV5(space, account.toLower());
    const QMutexLocker locker(&lock);
    accounts().insert(uuid, account);
    return uuid;
}

std::optional<QString> accountFor(const QUuid &uuid)
{
    const QMutexLocker locker(&lock);
    const auto found = accounts().constFind(uuid);
    if (found == accounts().constEnd())
        return std::nullopt;
    return *found;
}
}
