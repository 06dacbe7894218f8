#include "MGAclCommandLine.h"

#include "CBIdentityAuthority.h"
#include "MGAclAuditCommand.h"
#include "MGAclBackupCommands.h"
#include "MGAclCommandSupport.h"
#include "MGAclEditCommands.h"
#include "MGAclPropagateCommand.h"
#include "MGAclServiceClient.h"
#include "MGAclTexts.h"
#include "MGItemPaths.h"
#include "MGWorkQueue.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <cstdio>

using namespace MGAclCommandSupport;

namespace {

QString text(std::span<const MGAclTexts::Row> table, qint64 code)
{
    return NTLocalizedString::localize(QString::fromUtf8(MGAclTexts::key(table, code)), QStringLiteral("ACL"));
}

}

QString MGAclCommandLine::usage()
{
    return QStringLiteral(
        "usage: marrowgate-acl PATH\n"
        "       marrowgate-acl list PATH\n"
        "       marrowgate-acl access USER-OR-GROUP PATH\n"
        "       marrowgate-acl set PATH ENTRY...\n"
        "       marrowgate-acl remove PATH ENTRY-OR-WHO...\n"
        "       marrowgate-acl copy FROM TO\n"
        "       marrowgate-acl inherit PATH [--dry-run]\n"
        "       marrowgate-acl propagate PATH [--dry-run]\n"
        "       marrowgate-acl backup PATH > FILE\n"
        "       marrowgate-acl restore FILE|-\n"
        "       marrowgate-acl audit USER-OR-GROUP PATH [--write|--read|--any] [--summary]\n"
        "       marrowgate-acl screenshot PATH OUT.png [--tab 0|1] [--permissions ROW] [--find ROW TEXT]\n"
        "                                                          [--add USER-OR-GROUP] [--size WxH]\n"
        "                                                          [--elsewhere ENTRY] [--who USER-OR-GROUP] [--as-edited]\n"
        "\n"
        "PATH                 opens the ACL window for one file or folder (needs a display)\n"
        "list                 the item's entries, one per line: ROW, type, who, permission group,\n"
        "                     inherited, and rwx with any inheritance flags (f files, d folders,\n"
        "                     l one level, o new items only)\n"
        "access               what a user or group may do with the item\n"
        "set                  adds entries or changes their permissions, as setfacl -m does:\n"
        "                     [d:]u:NAME:rwx, [d:]g:NAME:r-x, u::rw, g::r, o::-, m::rx (several per\n"
        "                     argument, separated by commas); the mask follows the entries it\n"
        "                     limits unless m:: is given\n"
        "remove               removes entries: [d:]u:NAME, [d:]g:NAME, or a user or group alone\n"
        "                     (its entries for the item and for new items)\n"
        "copy                 gives TO the ACL of FROM; owner and group stay TO's\n"
        "inherit              gives PATH exactly what its folder gives a new file or folder now:\n"
        "                     the folder's default ACL limited by the creating mode (0666 for a\n"
        "                     file, 0777 for a folder), or without one, that mode less the umask;\n"
        "                     --dry-run prints the result as getfacl would and changes nothing\n"
        "propagate            gives everything below a folder its owner, group, permissions and\n"
        "                     inheritable entries, showing progress; Ctrl+C stops at the next\n"
        "                     folder; --dry-run counts what would change and changes nothing\n"
        "backup               the ACLs of PATH and everything below it, as getfacl -R writes them\n"
        "restore              sets what a backup (ours or getfacl's) says, relative to the current\n"
        "                     folder, as setfacl --restore does\n"
        "audit                where below PATH the user or group may write (--read: read; --any:\n"
        "                     anything), one line per item: rwx as granted, the entry that grants\n"
        "                     it, the path; folders they cannot enter are not looked into;\n"
        "                     --summary counts items by what they may do instead\n"
        "screenshot           a picture of the window (no display needed); --permissions opens the\n"
        "                     permission editor of a row, --find a row's chooser with TEXT typed\n"
        "                     into it, --add a new entry for USER-OR-GROUP, left unsaved; --size\n"
        "                     the window's width and height in pixels (as 900x560); --elsewhere\n"
        "                     then sets ENTRY from another process, as someone else would; --who\n"
        "                     chooses the access tab's user or group, --as-edited shows it as edited\n"
        "USER-OR-GROUP        a name (a user before a group of that name), user:NAME, group:NAME,\n"
        "                     uid:NUMBER or gid:NUMBER\n"
        "A PATH that leads through a link is about the item at the link's end; the command says so.\n"
        "Changes are made as you, and with an administrator's authorisation where you may not.\n"
        "\n"
        "Exit status: 0 done; 1 failed (the error on standard error); 2 an administrator's\n"
        "authorisation was asked for and dismissed; 64 the command was used wrongly; 130 a\n"
        "propagation stopped with Ctrl+C.\n");
}

bool MGAclCommandLine::handles(const QByteArrayList &arguments)
{
    static const QByteArrayList commands{"list",      "access", "set",     "remove", "copy",   "inherit",
                                             "propagate", "backup", "restore", "audit"};
    return !arguments.isEmpty() && commands.contains(arguments.first());
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
        const auto identity = identityFor(arguments[1]);
        if (!identity)
            return Failure;
        const std::optional<QUrl> item = itemFor(arguments[2]);
        if (!item)
            return Failure;
        const QUrl url = *item;
        const QUuid uuid = identity->uniqueIdentifier();
        return runOnQueue([url, uuid, who](std::shared_ptr<MGAclServiceClient> client, std::function<void(int)> finish) {
            client->getAccessWithUrl(url, uuid, [finish, who](auto tree, MGResultError error, const QString &blockedBy) {
                if (tree && !blockedBy.isEmpty())
                    std::printf("%s\n", qPrintable(QStringLiteral("# \u201c%1\u201d cannot enter the folder \u201c%2\u201d on "
                                                                  "this item's path; below is what the item itself allows.")
                                                       .arg(who, blockedBy)));
                if (tree)
                    std::fputs(qPrintable(formatTree(*tree)), stdout);
                else if (error)
                    printError(*error);
                finish(tree ? Success : error ? Failure : Dismissed);
            });
        });
    }
    if (command == "set" && arguments.size() >= 3)
        return MGAclEditCommands::set(arguments[1], arguments.mid(2));
    if (command == "remove" && arguments.size() >= 3)
        return MGAclEditCommands::remove(arguments[1], arguments.mid(2));
    if (command == "copy" && arguments.size() == 3)
        return MGAclEditCommands::copy(arguments[1], arguments[2]);
    if (command == "inherit" && (arguments.size() == 2 || (arguments.size() == 3 && arguments.contains("--dry-run")))) {
        const QByteArray path = arguments[1] == "--dry-run" ? arguments.value(2) : arguments[1];
        return MGAclEditCommands::inherit(path, arguments.size() == 3);
    }
    if (command == "propagate" && (arguments.size() == 2 || (arguments.size() == 3 && arguments.contains("--dry-run")))) {
        const QByteArray path = arguments[1] == "--dry-run" ? arguments.value(2) : arguments[1];
        return MGAclPropagateCommand::run(path, arguments.size() == 3);
    }
    if (command == "audit")
        return MGAclAuditCommand::run(arguments.mid(1));
    if (command == "backup" && arguments.size() == 2)
        return MGAclBackupCommands::backup(arguments[1]);
    if (command == "restore" && arguments.size() == 2)
        return MGAclBackupCommands::restore(arguments[1]);
    std::fprintf(stderr, "marrowgate-acl %s: wrong arguments\n\n%s", command.constData(), qPrintable(usage()));
    return Usage;
}
