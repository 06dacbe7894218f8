#include "MGAclEditCommands.h"

#include "CBIdentityAuthority.h"
#include "MGAclCommandSupport.h"
#include "MGAclSupport.h"
#include "MGItemPaths.h"
#include "MGPosixEdits.h"

#include <QFile>
#include <cerrno>
#include <cstdio>

using namespace MGAclCommandSupport;
using Entry = MGAclTextFormat::Entry;

namespace {
// Entries as given, each argument perhaps several separated by commas (as setfacl -m takes
// them). A user or group named alone (for `remove`) stands for its entries for the item and
// for new items, whichever it has: those go to `alone`.
std::optional<QList<Entry>> parseEntries(const QByteArrayList &arguments, bool withPerms, QList<Entry> *alone = nullptr)
{
    QList<Entry> entries;
    for (const QByteArray &argument : arguments) {
        for (const QString &text : QString::fromLocal8Bit(argument).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            QString why;
            if (const auto entry = MGAclTextFormat::parseEntry(text, withPerms, &why)) {
                entries << *entry;
                continue;
            }
            const auto identity = alone ? CBIdentityAuthority::defaultIdentityAuthority().identityForText(text)
                                        : std::nullopt;
            if (identity && identity->isUserOrGroup()) {
                const quint16 tag = identity->isUser() ? MGPosixAcl::User : MGPosixAcl::Group;
                *alone << Entry{false, tag, identity->posixID(), std::nullopt}
                       << Entry{true, tag, identity->posixID(), std::nullopt};
                continue;
            }
            std::fprintf(stderr, "%s\n", qPrintable(why));
            return std::nullopt;
        }
    }
    return entries;
}

// Reads an item's permissions as POSIX state into `state`, saying what went wrong otherwise.
int readState(const QUrl &url, std::optional<MGPosixItemState> *state)
{
    return runOnQueue([url, state](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->getEntriesWithUrl(url, [url, state, finish](std::optional<MGAclList> list, MGResultError error) {
            if (!list) {
                if (error)
                    printError(*error);
                return finish(error ? Failure : Dismissed);
            }
            const MGResult<MGPosixItemState> read = stateOf(*list, url);
            if (!read) {
                printError(read.error());
                return finish(Failure);
            }
            *state = *read;
            finish(Success);
        });
    });
}

// Reads the item, changes its state as `change` says, and writes the result back, only
// while the item still holds what was read; with `dryRun`, prints the result instead.
int edit(const QByteArray &path,
         const std::function<MGResult<MGPosixItemState>(const MGPosixItemState &, const QUrl &)> &change,
         bool dryRun = false)
{
    const std::optional<QUrl> item = itemFor(path);
    if (!item)
        return Failure;
    const QUrl url = *item;
    return runOnQueue([url, change, dryRun](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->getEntriesWithUrl(url, [client, url, change, dryRun, finish](std::optional<MGAclList> list, MGResultError error) {
            if (!list) {
                if (error)
                    printError(*error);
                return finish(error ? Failure : Dismissed);
            }
            const MGResult<MGPosixItemState> state = stateOf(*list, url);
            const MGResult<MGPosixItemState> changed = state ? change(*state, url) : state;
            if (!changed) {
                printError(changed.error());
                return finish(Failure);
            }
            if (dryRun) {
                MGAclTextFormat::Names names;
                names.lookUp(changed->userIds(), changed->groupIds());
                std::fputs(MGAclTextFormat::block(MGItemPaths::nativePath(url), *changed, names).constData(), stdout);
                return finish(Success);
            }
            const MGAclList target = MGPosixLists::listFromState(*changed);
            // An item whose file system keeps no ACLs takes only permission bits; said here,
            // before anything is sent.
            if (!MGAclLists::aclEntries(target).isEmpty()) {
                if (const QString unavailable = MGAclSupport::unavailableReason(url); !unavailable.isEmpty()) {
                    printError(MGError::errorWithError(MGError::posixError(EOPNOTSUPP, unavailable),
                                                       MGAclProtocol::description(MGAclRemoteMethod::SetEntries)));
                    return finish(Failure);
                }
            }
            client->sendEntries(MGAclRemoteMethod::SetEntries, target, url,
                                [finish](auto outcome) { finish(statusOf<std::monostate>(outcome)); }, *list);
        });
    });
}
}

namespace MGAclEditCommands {

int set(const QByteArray &path, const QByteArrayList &arguments)
{
    const auto entries = parseEntries(arguments, true);
    if (!entries)
        return Usage;
    return edit(path, [entries](const MGPosixItemState &state, const QUrl &url) {
        return MGPosixEdits::apply(state, *entries, {}, MGItemPaths::shownPath(url));
    });
}

int remove(const QByteArray &path, const QByteArrayList &arguments)
{
    QList<Entry> alone;
    const auto entries = parseEntries(arguments, false, &alone);
    if (!entries)
        return Usage;
    return edit(path, [entries, alone](const MGPosixItemState &state, const QUrl &url) -> MGResult<MGPosixItemState> {
        // Entries named as setfacl -x names them go, whether there or not (their ACL's mask
        // follows either way); a user or group named alone takes only the entries it has.
        QList<Entry> removed = *entries;
        for (const Entry &entry : alone) {
            if ((entry.isDefault ? state.defaultAcl : state.access).contains(entry.tag, entry.id))
                removed << entry;
        }
        return MGPosixEdits::apply(state, {}, removed, MGItemPaths::shownPath(url));
    });
}

int copy(const QByteArray &from, const QByteArray &to)
{
    const std::optional<QUrl> source = itemFor(from);
    if (!source)
        return Failure;
    const QUrl sourceUrl = *source;
    // The source's ACL is read first, then the target is changed as `set` changes it.
    std::optional<MGPosixItemState> sourceState;
    if (const int read = readState(sourceUrl, &sourceState); read != Success)
        return read;
    const MGPosixItemState copied = *sourceState;
    return edit(to, [copied](const MGPosixItemState &state, const QUrl &) -> MGResult<MGPosixItemState> {
        return MGPosixEdits::copy(copied, state);
    });
}

int inherit(const QByteArray &path, bool dryRun)
{
    const std::optional<QUrl> item = itemFor(path);
    if (!item)
        return Failure;
    const QByteArray native = MGItemPaths::nativePath(*item);
    if (native == "/") {
        printError(MGError::posixError(ENOENT, QStringLiteral("There is no folder above"), QFile::decodeName(native)));
        return Failure;
    }
    const QUrl folder = MGItemPaths::urlForNativePath(MGItemPaths::parentPath(native));
    std::optional<MGPosixItemState> folderState;
    if (const int read = readState(folder, &folderState); read != Success)
        return read;
    const MGPosixItemState parent = *folderState;
    const mode_t umask = MGPosixEdits::currentUmask();
    return edit(
        path,
        [parent, umask](const MGPosixItemState &state, const QUrl &) -> MGResult<MGPosixItemState> {
            return MGPosixEdits::inherit(parent, state, umask);
        },
        dryRun);
}
}
