#include "MGAclCommandLine.h"

#include "MGAclAuditCommand.h"
#include "MGAclBackupCommands.h"
#include "MGAclCommandSupport.h"
#include "MGAclEditCommands.h"
#include "MGAclPropagateCommand.h"
#include "MGAclReadCommands.h"

#include <QFile>
#include <cstdio>

using namespace MGAclCommandSupport;

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

bool MGAclCommandLine::handles(const QByteArrayList &arguments)
{
    // Every command but the window's own ones (the item alone, and its picture).
    return !arguments.isEmpty() && arguments.first() != "screenshot" && syntaxOf(arguments.first()).has_value();
}

int MGAclCommandLine::run(const QByteArrayList &arguments)
{
    const QByteArray command = arguments.value(0);
    QString error;
    const std::optional<MGAclCommandSyntax> syntax = syntaxOf(command);
    const std::optional<MGAclCommandSyntax::Match> given = syntax ? syntax->match(arguments.mid(1), &error) : std::nullopt;
    if (!given)
        return usageError(syntax ? error : localized("Unknown command \u201c%1\u201d.").arg(QString::fromLocal8Bit(command)));
    const QByteArrayList &words = given->arguments;
    const bool json = given->has("--json");
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
    if (command == "audit") {
        const QString level = given->has("--read") ? QStringLiteral("read")
            : given->has("--any")                   ? QStringLiteral("any")
                                                    : QStringLiteral("write");
        return MGAclAuditCommand::run(words[0], words[1], level, given->has("--summary"), json);
    }
    if (command == "backup")
        return MGAclBackupCommands::backup(words[0]);
    if (command == "restore")
        return MGAclBackupCommands::restore(words[0], given->has("--absolute"));
    std::fputs(qPrintable(usage()), stdout);
    return Success;
}
