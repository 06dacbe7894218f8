#include "MGAclCommandLine.h"

#include "CBIdentityAuthority.h"
#include "MGAclServiceClient.h"
#include "MGAclTexts.h"
#include "MGItemPaths.h"
#include "MGWorkQueue.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <cstdio>

namespace {

QString text(std::span<const MGAclTexts::Row> table, qint64 code)
{
    return NTLocalizedString::localize(QString::fromUtf8(MGAclTexts::key(table, code)), QStringLiteral("ACL"));
}

void printError(const MGError &error)
{
    std::fprintf(stderr, "%s\n", qPrintable(error.fullDescription()));
}

// Runs `start` on a client's work queue and waits for it to call `finish` with a status.
int runOnQueue(const std::function<void(std::shared_ptr<MGAclServiceClient>, std::function<void(int)>)> &start)
{
    const auto client = MGAclServiceClient::client(QStringLiteral("com.quillwork.Marrowgate.CommandLine"));
    QEventLoop loop;
    int status = MGAclCommandLine::Failure;
    auto finish = [&loop, &status](int result) {
        MGMainQueue::async([&loop, &status, result] {
            status = result;
            loop.quit();
        });
    };
    client->queue()->async([client, start, finish] { start(client, finish); });
    loop.exec();
    return status;
}

// The item a path argument names, links followed; a note on standard error says when the
// path led there through a link. Nothing when there is no such item (and it says why). A
// path through a folder this user cannot enter goes to the service as written.
std::optional<QUrl> itemFor(const QByteArray &path)
{
    const MGItemPaths::Resolution resolved = MGItemPaths::resolve(path);
    if (!resolved.exists) {
        printError(MGError::posixError(resolved.error, QStringLiteral("Cannot open"), QFile::decodeName(path)));
        return std::nullopt;
    }
    if (resolved.throughLink)
        std::fprintf(stderr, "%s\n",
                     qPrintable(QStringLiteral("\u201c%1\u201d leads through a link to \u201c%2\u201d; this is about %2.")
                                    .arg(QFile::decodeName(path), QFile::decodeName(resolved.path))));
    return MGItemPaths::urlForNativePath(resolved.path);
}
}

QString MGAclCommandLine::usage()
{
    return QStringLiteral(
        "usage: marrowgate-acl PATH\n"
        "       marrowgate-acl list PATH\n"
        "       marrowgate-acl access USER-OR-GROUP PATH\n"
        "       marrowgate-acl screenshot PATH OUT.png [--tab 0|1] [--permissions ROW] [--find ROW TEXT]\n"
        "\n"
        "PATH                 opens the ACL window for one file or folder (needs a display)\n"
        "list                 the item's entries, one per line: ROW, type, who, permission group,\n"
        "                     inherited, and rwx with any inheritance flags (f files, d folders,\n"
        "                     l one level, o new items only)\n"
        "access               what a user or group may do with the item\n"
        "screenshot           a picture of the window (no display needed); --permissions opens the\n"
        "                     permission editor of a row, --find a row's chooser with TEXT typed\n"
        "USER-OR-GROUP        a name (a user before a group of that name), user:NAME, group:NAME,\n"
        "                     uid:NUMBER or gid:NUMBER\n"
        "A PATH that leads through a link is about the item at the link's end; the command says so.\n"
        "\n"
        "Exit status: 0 done; 1 failed (the error on standard error); 2 an administrator's\n"
        "authorisation was asked for and dismissed; 64 the command was used wrongly.\n");
}

bool MGAclCommandLine::handles(const QByteArrayList &arguments)
{
    return !arguments.isEmpty() && (arguments.first() == "list" || arguments.first() == "access");
}

QString MGAclCommandLine::permissionText(const MGAclEntry &entry)
{
    QString text = MGAclPermissionSet::shortText(entry.permissions(), entry.isDirectory());
    QString flags;
    if (entry.flags() & MGAclFlag::FileInherit)
        flags += QLatin1Char('f');
    if (entry.flags() & MGAclFlag::DirectoryInherit)
        flags += QLatin1Char('d');
    if (entry.flags() & MGAclFlag::LimitInherit)
        flags += QLatin1Char('l');
    if (entry.flags() & MGAclFlag::OnlyInherit)
        flags += QLatin1Char('o');
    return flags.isEmpty() ? text : text + QLatin1Char('/') + flags;
}

QString MGAclCommandLine::formatList(const MGAclList &list)
{
    QString out;
    for (qsizetype index = 0; index < list.size(); ++index) {
        const MGAclEntry *entry = MGAclLists::entryOf(list[index]);
        if (!entry) {
            out += QStringLiteral("## %1\n").arg(std::get<QString>(list[index]));
            continue;
        }
        out += QStringLiteral("%1\t%2\t%3\t%4\t%5\t%6\n")
                   .arg(index)
                   .arg(text(MGAclTexts::Tags, entry->tag()), entry->identityText(),
                        text(MGAclTexts::PermissionGroups, entry->permissionGroup()),
                        NTLocalizedString::localize(entry->inherited() ? QStringLiteral("Yes") : QStringLiteral("No")),
                        permissionText(*entry));
    }
    return out;
}

QString MGAclCommandLine::formatTree(const QList<MGTreeNode::Pointer> &tree)
{
    QString out;
    std::function<void(const MGTreeNode &, int)> row = [&](const MGTreeNode &node, int depth) {
        out += QString(depth * 2, QLatin1Char(' ')) + node.title();
        if (node.state() != -1)
            out += node.state() ? QStringLiteral("\tyes") : QStringLiteral("\tno");
        out += QLatin1Char('\n');
        for (const MGTreeNode::Pointer &child : node.childNodes())
            row(*child, depth + 1);
    };
    for (const MGTreeNode::Pointer &node : tree)
        row(*node, 0);
    return out;
}

int MGAclCommandLine::run(const QByteArrayList &arguments)
{
    const QByteArray command = arguments.value(0);
    if (command == "list" && arguments.size() == 2) {
        const std::optional<QUrl> item = itemFor(arguments[1]);
        if (!item)
            return Failure;
        const QUrl url = *item;
        return runOnQueue([url](std::shared_ptr<MGAclServiceClient> client, std::function<void(int)> finish) {
            client->getEntriesWithUrl(url, [finish](std::optional<MGAclList> list, MGResultError error) {
                if (list)
                    std::fputs(qPrintable(formatList(*list)), stdout);
                else if (error)
                    printError(*error);
                finish(list ? Success : error ? Failure : Dismissed);
            });
        });
    }
    if (command == "access" && arguments.size() == 3) {
        const QString who = QString::fromLocal8Bit(arguments[1]);
        const auto identity = CBIdentityAuthority::defaultIdentityAuthority().identityForText(who);
        if (!identity) {
            std::fprintf(stderr, "%s\n",
                         qPrintable(QStringLiteral("No user or group is named \u201c%1\u201d.").arg(who)));
            return Failure;
        }
        const std::optional<QUrl> item = itemFor(arguments[2]);
        if (!item)
            return Failure;
        const QUrl url = *item;
        const QUuid uuid = identity->uniqueIdentifier();
        return runOnQueue([url, uuid](std::shared_ptr<MGAclServiceClient> client, std::function<void(int)> finish) {
            client->getAccessWithUrl(url, uuid, [finish](auto tree, MGResultError error) {
                if (tree)
                    std::fputs(qPrintable(formatTree(*tree)), stdout);
                else if (error)
                    printError(*error);
                finish(tree ? Success : error ? Failure : Dismissed);
            });
        });
    }
    std::fprintf(stderr, "usage: marrowgate-acl list PATH\n"
                         "       marrowgate-acl access USER-OR-GROUP PATH\n"
                         "USER-OR-GROUP: a name (a user before a group of the same name), user:NAME, group:NAME,\n"
                         "uid:NUMBER or gid:NUMBER\n");
    return Usage;
}
