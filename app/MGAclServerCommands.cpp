#include "MGAclServerCommands.h"

#include "MGAclAccessOutput.h"
#include "MGAclAuditCommand.h"
#include "MGAclCommandSupport.h"
#include "MGAclServerListOutput.h"
#include "MGItemPaths.h"
#include "MGNtEntryText.h"
#include "MGServerAccounts.h"

#include <cstdio>

using namespace MGAclCommandSupport;

namespace {
std::optional<QList<MGNtEntryText::Entry>> parseEntries(const QByteArrayList &arguments, bool withType)
{
    QList<MGNtEntryText::Entry> entries;
    for (const QByteArray &argument : arguments) {
        QString why;
        const auto entry = MGNtEntryText::parse(QString::fromLocal8Bit(argument), &why);
        if (entry && withType && !entry->ace)
            why = localized("\u201c%1\u201d names no type, flags and permissions (ACL:NAME:ALLOWED/OI|CI/READ).")
                      .arg(QString::fromLocal8Bit(argument));
        if (!entry || !why.isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(why));
            return std::nullopt;
        }
        entries << *entry;
    }
    return entries;
}

// Reads the item's list, changes it, and writes it back only while the item still holds
// what was read.
int edit(const QUrl &url, const std::function<MGResultError(MGAclList &)> &change)
{
    return runOnQueue([url, change](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->getEntriesWithUrl(url, [client, url, change, finish](std::optional<MGAclList> list, MGResultError error) {
            if (!list) {
                if (error)
                    printError(*error);
                return finish(error ? Failure : Dismissed);
            }
            MGAclList changed = MGAclLists::fromCbor(MGAclLists::toCbor(*list), nullptr).value_or(MGAclList());
            if (const MGResultError problem = change(changed)) {
                printError(*problem);
                return finish(Failure);
            }
            client->sendEntries(MGAclRemoteMethod::SetEntries, changed, url,
                                [finish](auto outcome) { finish(statusOf<std::monostate>(outcome)); }, *list);
        });
    });
}
}

namespace MGAclServerCommands {

int list(const QUrl &url, bool json)
{
    return runOnQueue([url, json](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->getEntriesWithUrl(url, [url, json, finish](std::optional<MGAclList> list, MGResultError error) {
            if (list)
                writeOut(json ? MGAclServerListOutput::json(*list, url) : MGAclServerListOutput::text(*list, url));
            else if (error)
                printError(*error);
            finish(list ? Success : error ? Failure : Dismissed);
        });
    });
}

int set(const QUrl &url, const QByteArrayList &arguments)
{
    const auto entries = parseEntries(arguments, true);
    if (!entries)
        return Usage;
    return edit(url, [entries](MGAclList &list) -> MGResultError {
        for (const MGNtEntryText::Entry &entry : *entries)
            MGNtEntryText::set(list, *entry.ace, entry.who);
        return std::nullopt;
    });
}

int remove(const QUrl &url, const QByteArrayList &arguments)
{
    const auto entries = parseEntries(arguments, false);
    if (!entries)
        return Usage;
    return edit(url, [entries, url](MGAclList &list) -> MGResultError {
        for (const MGNtEntryText::Entry &entry : *entries) {
            if (MGNtEntryText::remove(list, entry) == 0)
                return MGError::posixError(ENOENT, localized("No explicit entry of \u201c%1\u201d matches \u201c%2\u201d; "
                                                             "nothing was changed.")
                                                       .arg(url.toDisplayString(QUrl::RemovePassword),
                                                            entry.ace ? MGNtEntryText::format(MGNtAce{entry.ace->type, entry.ace->flags,
                                                                                                      entry.ace->mask, QString(), entry.who})
                                                                      : entry.who));
        }
        return std::nullopt;
    });
}

int access(const QByteArray &who, const QUrl &url, bool json)
{
    const CBIdentity subject = CBIdentity::principal(QString(), QString::fromLocal8Bit(who));
    const QUuid uuid = MGServerAccounts::uuidFor(subject);
    return runOnQueue([url, subject, uuid, json](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->getAccessWithUrl(url, uuid, [url, subject, json, finish](auto tree, MGResultError error, const auto &notes) {
            if (tree && json)
                writeOut(MGAclAccessOutput::json(*tree, url.toEncoded(), subject, QByteArray(), notes.caveat));
            else if (tree)
                writeOut(MGAclAccessOutput::text(*tree, notes.caveat).toUtf8());
            else if (error)
                printError(*error);
            finish(tree ? Success : error ? Failure : Dismissed);
        });
    });
}

int audit(const QByteArray &who, const QUrl &url, const QString &level, bool summary, bool json)
{
    const QUuid uuid = MGServerAccounts::uuidFor(CBIdentity::principal(QString(), QString::fromLocal8Bit(who)));
    return runOnQueue([=](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->auditWithUrl(url, uuid, level, summary, [finish, json](MGAclServiceClient::Outcome<QByteArray> outcome) {
            if (outcome.result)
                writeOut(json ? MGAclAuditCommand::jsonOf(*outcome.result) : *outcome.result);
            finish(statusOf<QByteArray>(outcome));
        });
    });
}

int notForServers(const QByteArray &command)
{
    QString why;
    if (command == "inherit" || command == "copy")
        why = localized("a file server applies inheritance itself; use set and propagate");
    else if (command == "backup" || command == "restore")
        why = localized("backups are in the text form of POSIX ACLs, which cannot hold a file server's entries; use "
                        "list --json");
    else
        why = localized("this is not available for items on file servers yet");
    std::fprintf(stderr, "%s\n", qPrintable(localized("%1 does not take items on file servers: %2.")
                                                 .arg(QString::fromLocal8Bit(command), why)));
    return Failure;
}
}
