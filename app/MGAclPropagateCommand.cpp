#include "MGAclPropagateCommand.h"

#include "MGAclCommandSupport.h"
#include "MGAclJson.h"
#include "MGItemPaths.h"
#include "NTLocalizedString.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSocketNotifier>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace MGAclCommandSupport;

namespace {
int interruptPipe[2] = {-1, -1};

void interrupted(int)
{
    // The first Ctrl+C asks the walk to stop; the next one leaves at once.
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = write(interruptPipe[1], &byte, 1);
    std::signal(SIGINT, SIG_DFL);
}

QString localizedAcl(const char *key)
{
    return NTLocalizedString::localize(QString::fromUtf8(key), QStringLiteral("ACL"));
}

// The summary for scripts: the counts under the names the service reports them by, which
// are the same in every language, and how many were skipped in all.
QByteArray summaryJson(const MGPropagationProgress &summary, const QByteArray &folder)
{
    QJsonObject object = summary.toCbor().toJsonObject();
    object.remove(QStringLiteral("finished")); // a summary always is
    object.insert(QStringLiteral("skipped"), summary.skipped());
    // The folder propagated, not the last one the walk reported.
    MGAclJson::putBytes(object, QStringLiteral("folder"), folder);
    return MGAclJson::line(object);
}

// Shows progress on standard error: one line rewritten in place on a terminal, a line a
// second otherwise, so that logs stay short.
class ProgressLine
{
public:
    ProgressLine() : m_terminal(isatty(STDERR_FILENO)) { m_clock.start(); }

    void show(const MGPropagationProgress &progress)
    {
        // A walk over in a moment shows only its summary.
        if (m_clock.elapsed() < (m_terminal ? 300 : 1000))
            return;
        if (!m_terminal && m_lastLine.isValid() && m_lastLine.elapsed() < 1000)
            return;
        m_lastLine.start();
        const qint64 rate = progress.items() * 1000 / qMax<qint64>(1, m_clock.elapsed());
        QString text = localizedAcl("%1 items, %2 a second").arg(NTLocalizedString::count(progress.items()), NTLocalizedString::count(rate))
            + QStringLiteral(" \u2014 ") + QFile::decodeName(progress.folder);
        if (m_terminal) {
            struct winsize size = {};
            const int columns = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 10 ? size.ws_col : 80;
            if (text.size() >= columns)
                text = text.left(columns - 2) + QStringLiteral("\u2026");
            std::fprintf(stderr, "\r\033[K%s", qPrintable(text));
            m_shown = true;
        } else {
            std::fprintf(stderr, "%s\n", qPrintable(text));
        }
        std::fflush(stderr);
    }

    void clear()
    {
        if (m_terminal && m_shown)
            std::fputs("\r\033[K", stderr);
        m_shown = false;
    }

    void note(const QString &text)
    {
        clear();
        std::fprintf(stderr, "%s\n", qPrintable(text));
    }

private:
    const bool m_terminal;
    bool m_shown = false;
    QElapsedTimer m_clock, m_lastLine;
};
}

namespace MGAclPropagateCommand {

int run(const QByteArray &path, bool dryRun, bool json)
{
    const std::optional<QUrl> item = itemFor(path);
    if (!item)
        return Failure;
    const QUrl url = *item;
    // Only a folder has anything below it: a file given here is a mistake of use, said before
    // anything is asked of the service.
    struct stat folder {};
    if (stat(MGItemPaths::nativePath(url).constData(), &folder) != 0 || !S_ISDIR(folder.st_mode))
        return usageError(localized("propagate needs a folder: \u201c%1\u201d is not one.")
                              .arg(QFile::decodeName(MGItemPaths::nativePath(url))));
    return runOnUrl(url, dryRun, json);
}

int runOnUrl(const QUrl &url, bool dryRun, bool json)
{
    auto line = std::make_shared<ProgressLine>();
    auto last = std::make_shared<std::optional<MGPropagationProgress>>();
    auto watch = std::make_shared<MGPropagationWatch>(
        [line, last](const MGPropagationProgress &progress) {
            // On the reply thread; shown from the main thread.
            MGMainQueue::async([line, last, progress] {
                if (progress.finished)
                    *last = progress;
                else
                    line->show(progress);
            });
        },
        dryRun);

    // Ctrl+C reaches the main thread through a pipe, and the walk through the watch.
    if (pipe2(interruptPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return Failure;
    QSocketNotifier notifier(interruptPipe[0], QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [line, watch] {
        char byte;
        while (read(interruptPipe[0], &byte, 1) > 0) {
        }
        line->note(localizedAcl("Stopping at the next folder\u2026 (Ctrl+C again leaves at once)"));
        watch->stop();
    });
    std::signal(SIGINT, interrupted);

    const int status = runOnQueue([url, watch](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->getEntriesWithUrl(url, [client, url, watch, finish](std::optional<MGAclList> list, MGResultError error) {
            if (!list) {
                if (error)
                    printError(*error);
                return finish(error ? Failure : Dismissed);
            }
            // A server's item says whether it is a folder only when read.
            if (!MGAclLists::isDirectoryList(*list)) {
                std::fprintf(stderr, "%s\n", qPrintable(localized("propagate needs a folder: \u201c%1\u201d is not one.")
                                                             .arg(MGItemPaths::shownPath(url))));
                return finish(Usage);
            }
            // What is propagated is what was just read, and only while the folder holds it.
            client->sendEntries(
                MGAclRemoteMethod::PropagateEntries, *list, url,
                [finish](auto outcome) { finish(statusOf<std::monostate>(outcome)); }, *list, watch);
        });
    });
    std::signal(SIGINT, SIG_DFL);
    line->clear();
    close(interruptPipe[0]);
    close(interruptPipe[1]);
    if (*last) {
        const MGPropagationProgress &summary = **last;
        const char *how = summary.stopped ? "Stopped: %1" : summary.dryRun ? "Dry run: %1" : "Propagated: %1";
        writeOut(json ? summaryJson(summary, MGItemPaths::requestPath(url))
                      : (localizedAcl(how).arg(summary.summaryText()) + QLatin1Char('\n')).toUtf8());
        if (summary.stopped && status == Success)
            return Stopped;
    }
    return status;
}
}
