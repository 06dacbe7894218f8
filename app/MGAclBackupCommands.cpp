#include "MGAclBackupCommands.h"

#include "MGAclCommandSupport.h"
#include "MGAclTextFormat.h"
#include "MGItemPaths.h"

#include <QDir>
#include <QFile>
#include <cstdio>
#include <sys/stat.h>

using namespace MGAclCommandSupport;

namespace {
// Sets one item of a backup, then the next, until all are done; `failures` counts items
// that could not be set (each said on standard error).
// Why a backup's path is not restored: one that climbs out of the folder the restore runs
// in, or an absolute one not asked for. A backup may come from someone else; an
// administrator restoring it must not be made to change items elsewhere.
QString refusal(const QByteArray &path, bool absolute)
{
    const QString shown = QFile::decodeName(MGAclTextFormat::escapePath(path));
    if (path.split('/').contains(".."))
        return localized("Not restored: \u201c%1\u201d leads out of the folder the restore runs in (through \u201c..\u201d).")
            .arg(shown);
    if (path.startsWith('/') && !absolute)
        return localized("Not restored: \u201c%1\u201d is an absolute path; give --absolute to restore such paths.").arg(shown);
    return QString();
}

void restoreFrom(std::shared_ptr<MGAclServiceClient> client, std::shared_ptr<QList<MGAclTextFormat::Block>> blocks,
                 qsizetype index, std::shared_ptr<int> failures, bool absolute, Finish finish)
{
    if (index >= blocks->size())
        return finish(*failures > 0 ? Failure : Success);
    const MGAclTextFormat::Block &block = blocks->at(index);
    auto next = [client, blocks, index, failures, absolute, finish](int status) {
        if (status == Dismissed)
            return finish(Dismissed);
        if (status != Success)
            ++*failures;
        restoreFrom(client, blocks, index + 1, failures, absolute, finish);
    };
    if (const QString refused = refusal(block.path, absolute); !refused.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(refused));
        return next(Failure);
    }
    // The current folder as the bytes it is called by: its name need not be UTF-8.
    const QByteArray path = MGItemPaths::absolutePath(block.path);
    const QUrl url = MGItemPaths::urlForNativePath(path);
    client->getEntriesWithUrl(url, [client, url, block, next](std::optional<MGAclList> list, MGResultError error) {
        if (!list) {
            if (error)
                printError(*error);
            return next(error ? Failure : Dismissed);
        }
        MGResult<MGPosixItemState> state = stateOf(*list, url);
        if (!state) {
            printError(state.error());
            return next(Failure);
        }
        const QString shown = QFile::decodeName(MGAclTextFormat::escapePath(block.path));
        if (!block.defaultAcl.isEmpty() && !state->isDirectory()) {
            std::fprintf(stderr, "%s\n",
                         qPrintable(localized("Not restored: \u201c%1\u201d (line %2) has entries for new items, "
                                              "which only a folder can have.")
                                        .arg(shown)
                                        .arg(block.line)));
            return next(Failure);
        }
        // An owner or group without an account here (a backup from another machine): the ACL
        // is restored, the owner left, and the restore ends as failed, having said so.
        bool unknown = false;
        for (const auto &[name, message] :
             {std::pair{block.unknownOwner, "\u201c%1\u201d: no user here is called \u201c%2\u201d; the owner was not changed."},
              std::pair{block.unknownGroup, "\u201c%1\u201d: no group here is called \u201c%2\u201d; the group was not changed."}}) {
            if (name.isEmpty())
                continue;
            unknown = true;
            std::fprintf(stderr, "%s\n", qPrintable(localized(message).arg(shown, name)));
        }
        MGAclTextFormat::Block settled = block;
        MGAclTextFormat::resolveExecute(settled, state->isDirectory());
        if (settled.owner)
            state->owner = *settled.owner;
        if (settled.group)
            state->group = *settled.group;
        state->access = settled.access;
        state->defaultAcl = settled.defaultAcl;
        // Set-id and sticky bits become what the block says: none when it says none.
        client->restoreEntries(MGPosixLists::listFromState(*state), block.flags.value_or(0), url,
                               [next, unknown](auto outcome) {
                                   const int status = statusOf<std::monostate>(outcome);
                                   next(status == Success && unknown ? Failure : status);
                               },
                               *list);
    });
}

// The service names every item by its full path (as getfacl names those below an absolute
// path); a backup names them as getfacl -R does below the path as the user gave it: relative
// stays relative, and an absolute path loses its leading slash. Text arrives in pieces that
// may end inside a line.
class BackupPaths
{
public:
    BackupPaths(const QByteArray &resolved, const QByteArray &given)
        : m_resolved(MGAclTextFormat::escapePath(resolved.mid(1))), m_given(MGAclTextFormat::escapePath(shown(given)))
    {
    }

    QByteArray rewrite(const QByteArray &piece, bool last = false)
    {
        m_pending += piece;
        const qsizetype end = last ? m_pending.size() : m_pending.lastIndexOf('\n') + 1;
        QByteArray out;
        out.reserve(end + 64);
        qsizetype start = 0;
        while (start < end) {
            qsizetype newline = m_pending.indexOf('\n', start);
            newline = newline < 0 || newline >= end ? end : newline + 1;
            const QByteArrayView line(m_pending.constData() + start, newline - start);
            out += line.startsWith(FileLine) ? renamed(line) : line.toByteArray();
            start = newline;
        }
        m_pending.remove(0, end);
        return out;
    }

private:
    static constexpr QByteArrayView FileLine = "# file: ";

    // A path as getfacl writes it: without leading slashes, and without leading "./".
    static QByteArray shown(QByteArray path)
    {
        while (path.startsWith('/'))
            path.remove(0, 1);
        while (path.startsWith("./"))
            path.remove(0, 2);
        return path;
    }

    QByteArray renamed(QByteArrayView line) const
    {
        const bool newline = line.endsWith('\n');
        const QByteArrayView path = line.sliced(FileLine.size(), line.size() - FileLine.size() - (newline ? 1 : 0));
        QByteArrayView below;
        if (path == m_resolved)
            below = {};
        else if (m_resolved.isEmpty())
            below = path.startsWith('/') ? path.sliced(1) : path; // below "/"
        else if (path.startsWith(m_resolved) && path.size() > m_resolved.size() && path[m_resolved.size()] == '/')
            below = path.sliced(m_resolved.size() + 1);
        else
            return line.toByteArray();
        QByteArray name;
        if (below.isEmpty())
            name = m_given.isEmpty() ? QByteArray(".") : m_given;
        else if (m_given.isEmpty() || m_given == ".")
            name = below.toByteArray();
        else
            name = m_given + '/' + below.toByteArray();
        return FileLine.toByteArray() + name + (newline ? "\n" : "");
    }

    const QByteArray m_resolved, m_given;
    QByteArray m_pending;
};
}

namespace MGAclBackupCommands {

int backup(const QByteArray &path)
{
    const std::optional<QUrl> item = itemFor(path);
    if (!item)
        return Failure;
    if (path.startsWith('/'))
        std::fprintf(stderr, "%s\n", qPrintable(localized("marrowgate-acl: Removing leading '/' from absolute path names")));
    const QUrl url = *item;
    // A link given as the path is read for what it leads to, and not walked (as getfacl -R
    // takes it): the link names one item, not a tree to enter.
    struct stat status;
    const bool itemOnly = lstat(path.constData(), &status) == 0 && S_ISLNK(status.st_mode);
    auto paths = std::make_shared<BackupPaths>(MGItemPaths::nativePath(url), path);
    return runOnQueue([url, paths, itemOnly](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->backupWithUrl(
            url,
            [paths](const QByteArray &text) {
                // On the reply thread, in order; nothing else writes to standard output.
                writeOut(paths->rewrite(text));
            },
            [paths, finish](auto outcome) {
                writeOut(paths->rewrite({}, true));
                std::fflush(stdout);
                finish(statusOf<std::monostate>(outcome));
            },
            itemOnly);
    });
}

int restore(const QByteArray &file, bool absolute)
{
    QFile input;
    const bool opened = file == "-" ? input.open(stdin, QIODevice::ReadOnly)
                                    : (input.setFileName(QFile::decodeName(file)), input.open(QIODevice::ReadOnly));
    if (!opened) {
        std::fprintf(stderr, "%s\n", qPrintable(localized("Cannot read \u201c%1\u201d: %2").arg(QFile::decodeName(file), input.errorString())));
        return Failure;
    }
    QString why;
    const auto blocks = MGAclTextFormat::parse(input.readAll(), &why);
    if (!blocks) {
        std::fprintf(stderr, "%s: %s\n", file.constData(), qPrintable(why));
        return Failure;
    }
    auto shared = std::make_shared<QList<MGAclTextFormat::Block>>(*blocks);
    return runOnQueue([shared, absolute](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        restoreFrom(client, shared, 0, std::make_shared<int>(0), absolute, finish);
    });
}
}
