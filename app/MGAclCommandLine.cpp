#include "MGAclCommandLine.h"

#include "MGAclAuditCommand.h"
#include "MGAclBackupCommands.h"
#include "MGAclCommandSupport.h"
#include "MGAclEditCommands.h"
#include "MGAclPropagateCommand.h"
#include "MGAclReadCommands.h"
#include "MGAclServerCommands.h"
#include "MGAclTerminalLogin.h"
#include "MGItemPaths.h"
#include "MGServerLogins.h"

#include <QFile>
#include <cstdio>

using namespace MGAclCommandSupport;

namespace {
// What an audit looks for: writing, unless reading or either is asked for.
QString auditLevel(const MGAclCommandSyntax::Match &given)
{
    return given.has("--read") ? QStringLiteral("read") : given.has("--any") ? QStringLiteral("any") : QStringLiteral("write");
}
}

const MGAclHelpPage &MGAclCommandLine::helpPage()
{
    static const MGAclHelpPage page = [] {
        QFile file(QStringLiteral(":/help/marrowgate-acl.help"));
        QString problem;
        const std::optional<MGAclHelpPage> parsed =
            file.open(QIODevice::ReadOnly) ? MGAclHelpPage::parse(file.readAll(), &problem) : std::nullopt;
        // The same source made the manual page when the program was built, so it parsed
        // then; failing here means a broken build.
        if (!parsed)
            qFatal("marrowgate-acl: its built-in help is broken: %s", qPrintable(problem));
        return *parsed;
    }();
    return page;
}

QString MGAclCommandLine::usage()
{
    return helpPage().plainText([](const QString &english) { return localized(english); });
}

std::optional<MGAclCommandSyntax> MGAclCommandLine::syntaxOf(const QByteArray &command)
{
    for (const QString &usage : helpPage().usages) {
        MGAclCommandSyntax syntax = MGAclCommandSyntax::fromUsage(usage);
        if (!syntax.command.isEmpty() && syntax.command.toUtf8() == command)
            return syntax;
    }
    return std::nullopt;
}

bool MGAclCommandLine::handles(QByteArrayList arguments)
{
    if (const qsizetype at = arguments.indexOf("--authentication-file"); at >= 0)
        arguments.remove(at, std::min<qsizetype>(2, arguments.size() - at));
    // Every command but the window's own ones (the item alone, and its picture).
    return !arguments.isEmpty() && arguments.first() != "screenshot" && syntaxOf(arguments.first()).has_value();
}

std::optional<int> MGAclCommandLine::takeAuthentication(QByteArrayList &arguments)
{
    const qsizetype at = arguments.indexOf("--authentication-file");
    if (at < 0) {
        MGAclTerminalLogin::install();
        return std::nullopt;
    }
    if (at + 1 >= arguments.size())
        return usageError(localized("--authentication-file needs a FILE."));
    const MGResult<MGServerCredentials> credentials =
        MGServerCredentials::fromAuthenticationFile(QFile::decodeName(arguments.at(at + 1)));
    arguments.remove(at, 2);
    if (!credentials) {
        printError(credentials.error());
        return Failure;
    }
    MGServerLogins::rememberForEveryServer(*credentials);
    return std::nullopt;
}

int MGAclCommandLine::run(QByteArrayList arguments)
{
    if (const std::optional<int> failed = takeAuthentication(arguments))
        return *failed;
    const QByteArray command = arguments.value(0);
    QString error;
    const std::optional<MGAclCommandSyntax> syntax = syntaxOf(command);
    const std::optional<MGAclCommandSyntax::Match> given = syntax ? syntax->match(arguments.mid(1), &error) : std::nullopt;
    if (!given)
        return usageError(syntax ? error : localized("Unknown command \u201c%1\u201d.").arg(QString::fromLocal8Bit(command)));
    QByteArrayList words = given->arguments;
    const bool json = given->has("--json");
    // A path inside a desktop's mount of an SMB share names the server's item.
    for (QByteArray &word : words) {
        if (const std::optional<QUrl> server = MGItemPaths::serverUrlForMountPath(MGItemPaths::absolutePath(word)))
            word = server->toEncoded();
    }
    // A file server's items are named by URL; their commands are their own.
    for (const QByteArray &word : words) {
        if (!MGItemPaths::isServerPath(word))
            continue;
        const QUrl url = QUrl::fromEncoded(words.value(command == "access" || command == "audit" ? 1 : 0));
        if (!MGItemPaths::isServerUrl(url))
            return usageError(localized("\u201c%1\u201d is not the URL of an item on a file server (smb://SERVER/SHARE/PATH).")
                                  .arg(QString::fromLocal8Bit(word)));
        // A password on a command line is seen by every process of the machine.
        if (!url.password().isEmpty())
            return usageError(localized("The URL holds a password; give the account with --authentication-file instead."));
        if (command == "list")
            return MGAclServerCommands::list(url, json);
        if (command == "set")
            return MGAclServerCommands::set(url, words.mid(1));
        if (command == "remove")
            return MGAclServerCommands::remove(url, words.mid(1));
        if (command == "propagate")
            return MGAclPropagateCommand::runOnUrl(url, given->has("--dry-run"), json);
        if (command == "access")
            return MGAclServerCommands::access(words[0], url, json);
        if (command == "audit")
            return MGAclServerCommands::audit(words[0], url, auditLevel(*given), given->has("--summary"), json);
        return MGAclServerCommands::notForServers(command);
    }
    if (command == "list")
        return MGAclReadCommands::list(words[0], json);
    if (command == "access")
        return MGAclReadCommands::access(words[0], words[1], json);
    if (command == "set")
        return MGAclEditCommands::set(words[0], words.mid(1));
    if (command == "remove")
        return MGAclEditCommands::remove(words[0], words.mid(1));
    if (command == "copy")
        return MGAclEditCommands::copy(words[0], words[1]);
    if (command == "inherit")
        return MGAclEditCommands::inherit(words[0], given->has("--dry-run"));
    if (command == "propagate")
        return MGAclPropagateCommand::run(words[0], given->has("--dry-run"), json);
    if (command == "audit")
        return MGAclAuditCommand::run(words[0], words[1], auditLevel(*given), given->has("--summary"), json);
    if (command == "backup")
        return MGAclBackupCommands::backup(words[0]);
    if (command == "restore")
        return MGAclBackupCommands::restore(words[0], given->has("--absolute"));
    std::fputs(qPrintable(usage()), stdout);
    return Success;
}
