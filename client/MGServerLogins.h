#pragma once

#include "MGServerCredentials.h"

#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

class MGError;

// The accounts this program was given for file servers (an authentication file, a login
// typed into the window, the desktop keyring's), by server, held in memory only until the
// program ends or they are forgotten. Requests for items on a server carry its account to
// the ordinary ACL service; without one, the service tries the user's own credentials (a
// Kerberos ticket).
namespace MGServerLogins {
void remember(const QString &server, const MGServerCredentials &credentials);
// The account for every server that has none of its own (an authentication file).
void rememberForEveryServer(const MGServerCredentials &credentials);
// The account for the server an item is on, if one was given.
std::optional<MGServerCredentials> forUrl(const QUrl &url);
void forget(const QString &server);
void forgetAll();

// Finds an account for what `refusal` refused on the item's server. The first time for a
// server it is the desktop keyring's, if it keeps one for the server (the user's own login,
// not a question); otherwise the user is asked, if the program can ask (a login dialog, a
// terminal: it sets how). `answer` is told where the account came from; one that came is
// remembered. Called on any thread.
using Prompt = std::function<void(const QUrl &item, const MGError &refusal, std::function<void(std::optional<MGServerCredentials>)> answer)>;
void setPrompt(Prompt prompt);
enum class Answer { FromKeyring, Typed, Cancelled, CannotAsk };
void ask(const QUrl &item, const MGError &refusal, std::function<void(Answer)> answer);
}
