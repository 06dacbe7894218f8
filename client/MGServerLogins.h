#pragma once

#include "MGServerCredentials.h"

#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

class MGError;

// The accounts this program was given for file servers (an authentication file, a login
// typed into the window), by server, held in memory only until the program ends or they
// are forgotten. Requests for items on a server carry its account to the ordinary ACL
// service; without one, the service tries the user's own credentials (a Kerberos ticket).
namespace MGServerLogins {
void remember(const QString &server, const MGServerCredentials &credentials);
// The account for every server that has none of its own (an authentication file).
void rememberForEveryServer(const MGServerCredentials &credentials);
// The account for the server an item is on, if one was given.
std::optional<MGServerCredentials> forUrl(const QUrl &url);
void forget(const QString &server);
void forgetAll();

// Asks for an account allowed to do what `refusal` refused on the item's server: a program
// that can ask (a login dialog, a terminal) sets how; `answer` gets whether an account was
// given (and remembered). Only when canAsk(). Called on any thread.
using Prompt = std::function<void(const QUrl &item, const MGError &refusal, std::function<void(std::optional<MGServerCredentials>)> answer)>;
void setPrompt(Prompt prompt);
void ask(const QUrl &item, const MGError &refusal, std::function<void(bool given)> answer);
bool canAsk();
}
