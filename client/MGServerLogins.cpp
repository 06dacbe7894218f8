#include "MGServerLogins.h"

#include <QHash>
#include <QMutex>

namespace {
QMutex lock;
MGServerLogins::Prompt &prompt()
{
    static MGServerLogins::Prompt installed;
    return installed;
}
QHash<QString, MGServerCredentials> &logins()
{
    static QHash<QString, MGServerCredentials> byServer;
    return byServer;
}
}

namespace MGServerLogins {
void remember(const QString &server, const MGServerCredentials &credentials)
{
    const QMutexLocker locker(&lock);
    logins().insert(server.toLower(), credentials);
}

void rememberForEveryServer(const MGServerCredentials &credentials)
{
    remember(QString(), credentials);
}

std::optional<MGServerCredentials> forUrl(const QUrl &url)
{
    const QMutexLocker locker(&lock);
    auto found = logins().constFind(url.host().toLower());
    if (found == logins().constEnd())
        found = logins().constFind(QString());
    if (found == logins().constEnd())
        return std::nullopt;
    return *found;
}

void forget(const QString &server)
{
    const QMutexLocker locker(&lock);
    logins().remove(server.toLower());
}

void forgetAll()
{
    const QMutexLocker locker(&lock);
    logins().clear();
}

void setPrompt(Prompt how)
{
    const QMutexLocker locker(&lock);
    prompt() = std::move(how);
}

void ask(const QUrl &item, const MGError &refusal, std::function<void(bool given)> answer)
{
    Prompt how;
    {
        const QMutexLocker locker(&lock);
        how = prompt();
    }
    const QString server = item.host();
    how(item, refusal, [server, answer](std::optional<MGServerCredentials> credentials) {
        if (credentials)
            remember(server, *credentials);
        answer(credentials.has_value());
    });
}

bool canAsk()
{
    const QMutexLocker locker(&lock);
    return bool(prompt());
}
}
