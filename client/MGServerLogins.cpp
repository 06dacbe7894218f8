#include "MGServerLogins.h"

#include "MGDesktopKeyring.h"

#include <QHash>
#include <QMutex>
#include <QSet>

namespace {
QMutex lock;
MGServerLogins::Prompt &prompt()
{
    static MGServerLogins::Prompt installed;
    return installed;
}
// Servers whose keyring account was looked for: it is taken once, and a refusal of it
// leads to the user's own answer, never to the same account again.
QSet<QString> &keyringAsked()
{
    static QSet<QString> servers;
    return servers;
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
    keyringAsked().clear();
}

void setPrompt(Prompt how)
{
    const QMutexLocker locker(&lock);
    prompt() = std::move(how);
}

void ask(const QUrl &item, const MGError &refusal, std::function<void(Answer)> answer)
{
    const QString server = item.host();
    Prompt how;
    bool askKeyring = false;
    {
        const QMutexLocker locker(&lock);
        how = prompt();
        askKeyring = !keyringAsked().contains(server.toLower());
        keyringAsked().insert(server.toLower());
    }
    if (askKeyring) {
        if (const std::optional<MGServerCredentials> stored = MGDesktopKeyring::serverLogin(server)) {
            remember(server, *stored);
            return answer(Answer::FromKeyring);
        }
    }
    if (!how)
        return answer(Answer::CannotAsk);
    how(item, refusal, [server, answer](std::optional<MGServerCredentials> credentials) {
        if (credentials)
            remember(server, *credentials);
        answer(credentials ? Answer::Typed : Answer::Cancelled);
    });
}
}
