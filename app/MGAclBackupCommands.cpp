#include "MGAclBackupCommands.h"

#include "MGAclCommandSupport.h"
#include "MGAclTextFormat.h"
#include "MGItemPaths.h"

#include <QDir>
#include <QFile>
#include <cstdio>

using namespace MGAclCommandSupport;

namespace {
// Sets one item of a backup, then the next, until all are done; `failures` counts items
// that could not be set (each said on standard error).
void restoreFrom(std::shared_ptr<MGAclServiceClient> client, std::shared_ptr<QList<MGAclTextFormat::Block>> blocks,
                 qsizetype index, std::shared_ptr<int> failures, Finish finish)
{
    if (index >= blocks->size())
        return finish(*failures > 0 ? Failure : Success);
    const MGAclTextFormat::Block &block = blocks->at(index);
    auto next = [client, blocks, index, failures, finish](int status) {
        if (status == Dismissed)
            return finish(Dismissed);
        if (status != Success)
            ++*failures;
        restoreFrom(client, blocks, index + 1, failures, finish);
    };
    const QByteArray path = block.path.startsWith('/') ? block.path
                                                       : QFile::encodeName(QDir::currentPath()) + '/' + block.path;
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
        if (block.owner)
            state->owner = *block.owner;
        if (block.group)
            state->group = *block.group;
        state->access = block.access;
        state->defaultAcl = state->isDirectory() ? block.defaultAcl : MGPosixAcl();
        client->sendEntries(MGAclRemoteMethod::SetEntries, MGPosixLists::listFromState(*state), url,
                            [next](auto outcome) { next(statusOf<std::monostate>(outcome)); }, *list);
    });
}
}

namespace MGAclBackupCommands {

int backup(const QByteArray &path)
{
    const std::optional<QUrl> item = itemFor(path);
    if (!item)
        return Failure;
    if (MGItemPaths::nativePath(*item).startsWith('/'))
        std::fprintf(stderr, "marrowgate-acl: Removing leading '/' from absolute path names\n");
    const QUrl url = *item;
    return runOnQueue([url](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->backupWithUrl(
            url,
            [](const QByteArray &text) {
                // On the reply thread, in order; nothing else writes to standard output.
                std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
            },
            [finish](auto outcome) {
                std::fflush(stdout);
                finish(statusOf<std::monostate>(outcome));
            });
    });
}

int restore(const QByteArray &file)
{
    QFile input;
    const bool opened = file == "-" ? input.open(stdin, QIODevice::ReadOnly)
                                    : (input.setFileName(QFile::decodeName(file)), input.open(QIODevice::ReadOnly));
    if (!opened) {
        std::fprintf(stderr, "Cannot read \u201c%s\u201d: %s\n", file.constData(), qPrintable(input.errorString()));
        return Failure;
    }
    QString why;
    const auto blocks = MGAclTextFormat::parse(input.readAll(), &why);
    if (!blocks) {
        std::fprintf(stderr, "%s: %s\n", file.constData(), qPrintable(why));
        return Failure;
    }
    auto shared = std::make_shared<QList<MGAclTextFormat::Block>>(*blocks);
    return runOnQueue([shared](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        restoreFrom(client, shared, 0, std::make_shared<int>(0), finish);
    });
}
}
