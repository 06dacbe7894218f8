#pragma once

#include "CBIdentity.h"
#include "MGAclServiceClient.h"
#include "MGPosixLists.h"

#include <QByteArray>
#include <QUrl>
#include <functional>
#include <optional>

// What the text commands share: running a client's calls and waiting for their end,
// resolving the paths they are given, and saying what went wrong.
namespace MGAclCommandSupport {
// The program's exit statuses (its help lists them).
enum Status { Success = 0, Failure = 1, Dismissed = 2, Usage = 64, Stopped = 130 };

using Finish = std::function<void(int status)>;
// Runs `start` on a client's work queue and waits, running the event loop, until it
// calls `finish` with the command's status.
int runOnQueue(const std::function<void(std::shared_ptr<MGAclServiceClient> client, Finish finish)> &start);

// The item a path argument names, links followed; a note on standard error says when the
// path led there through a link. Nothing when there is no such item (and it says why).
std::optional<QUrl> itemFor(const QByteArray &path);

void printError(const MGError &error);
// A usage error: what is wrong, then the usage, on standard error; answers Usage.
int usageError(const QString &what);
// The command line's own texts in the user's language (table "Help").
QString localized(const QString &english);
inline QString localized(const char *english) { return localized(QString::fromUtf8(english)); }
// Writes to standard output as it stands (bytes: paths need not be UTF-8).
void writeOut(const QByteArray &bytes);
// The user or group a command names (see the usage); nothing, with a message, when none.
std::optional<CBIdentity> identityFor(const QByteArray &text);
// Who a command is about and the item it looks at; nothing (having said why) when either
// cannot be found.
struct Subject
{
    CBIdentity who;
    QUrl item;
};
std::optional<Subject> subjectFor(const QByteArray &who, const QByteArray &path);
// The status an operation's outcome ends a command with (and its error printed).
template <typename Result>
int statusOf(const typename MGAclServiceClient::Outcome<Result> &outcome)
{
    if (outcome.kind == outcome.Succeeded)
        return Success;
    if (outcome.kind == outcome.Cancelled)
        return Dismissed;
    if (outcome.error)
        printError(*outcome.error);
    return Failure;
}

// The POSIX permissions an entry list read from an item stands for.
MGResult<MGPosixItemState> stateOf(const MGAclList &list, const QUrl &url);
}
