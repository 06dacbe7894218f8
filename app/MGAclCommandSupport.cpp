#include "MGAclCommandSupport.h"

#include "CBIdentityAuthority.h"
#include "MGAclCommandLine.h"
#include "MGItemPaths.h"
#include "MGWorkQueue.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <cstdio>

namespace MGAclCommandSupport {

int runOnQueue(const std::function<void(std::shared_ptr<MGAclServiceClient>, Finish)> &start)
{
    auto client = MGAclServiceClient::client(QStringLiteral("com.quillwork.Marrowgate.CommandLine"));
    QEventLoop loop;
    int status = Failure;
    auto finish = [&loop, &status](int result) {
        MGMainQueue::async([&loop, &status, result] {
            status = result;
            loop.quit();
        });
    };
    client->queue()->async([client, start, finish] { start(client, finish); });
    loop.exec();
    // The last references to the client may still be on its reply threads; it is deleted on
    // this thread once they are gone, and its threads with it. The program exits only after
    // that, never while one of them still runs.
    const std::weak_ptr<MGAclServiceClient> gone = client;
    client.reset();
    QDeadlineTimer deadline(10000);
    while (!gone.expired() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    return status;
}

std::optional<QUrl> itemFor(const QByteArray &path)
{
    const MGItemPaths::Resolution resolved = MGItemPaths::resolve(path);
    if (!resolved.exists) {
        printError(MGError::posixError(resolved.error, QStringLiteral("Cannot open"), QFile::decodeName(path)));
        return std::nullopt;
    }
    if (resolved.throughLink)
        std::fprintf(stderr, "%s\n",
                     qPrintable(localized("\u201c%1\u201d leads through a link to \u201c%2\u201d; this is about %2.")
                                    .arg(QFile::decodeName(path), QFile::decodeName(resolved.path))));
    return MGItemPaths::urlForNativePath(resolved.path);
}

std::optional<CBIdentity> identityFor(const QByteArray &text)
{
    const QString who = QString::fromLocal8Bit(text);
    const auto identity = CBIdentityAuthority::defaultIdentityAuthority().identityForText(who);
    if (!identity)
        std::fprintf(stderr, "%s\n", qPrintable(localized("No user or group is named \u201c%1\u201d.").arg(who)));
    return identity;
}

std::optional<Subject> subjectFor(const QByteArray &who, const QByteArray &path)
{
    const std::optional<CBIdentity> identity = identityFor(who);
    if (!identity)
        return std::nullopt;
    const std::optional<QUrl> item = itemFor(path);
    if (!item)
        return std::nullopt;
    return Subject{*identity, *item};
}

void printError(const MGError &error)
{
    std::fprintf(stderr, "%s\n", qPrintable(error.fullDescription()));
}

int usageError(const QString &what)
{
    std::fprintf(stderr, "%s\n\n%s", qPrintable(what), qPrintable(MGAclCommandLine::usage()));
    return Usage;
}

QString localized(const QString &english)
{
    return NTLocalizedString::localize(english, QStringLiteral("Help"));
}

void writeOut(const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

MGResult<MGPosixItemState> stateOf(const MGAclList &list, const QUrl &url)
{
    bool folder = false;
    for (const MGAclItem &item : list) {
        if (const MGAclEntry *entry = MGAclLists::entryOf(item))
            folder = entry->isDirectory();
    }
    MGPosixItemState kind;
    kind.mode = folder ? S_IFDIR : S_IFREG;
    return MGPosixLists::stateFromList(list, kind, QFile::decodeName(MGItemPaths::nativePath(url)));
}
}
