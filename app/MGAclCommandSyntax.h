#pragma once

#include <QByteArrayList>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <optional>

// One way to call a program, as its help's usage line writes it, read as a pattern that
// a command's arguments are checked against:
//   audit USER-OR-GROUP PATH [--write|--read|--any] [--summary] [--json]
//   set PATH ENTRY...
// The first word is the command (none when it is in capitals: "PATH" alone); words in
// capitals are arguments ("..." after one: one or more), "A|B" a choice of what may stand
// there, and each bracket an option, or a choice of options of which at most one may be
// given, with the words it takes after it ("[--tab 0|1]").
class MGAclCommandSyntax
{
public:
    struct Option
    {
        QStringList names; // the choice: at most one of these
        QStringList values; // the arguments each takes
    };
    struct Argument
    {
        QString name; // "PATH", "USER-OR-GROUP", "FILE|-"
        bool repeats = false;
    };

    QString command;
    QList<Argument> arguments;
    QList<Option> options;

    static MGAclCommandSyntax fromUsage(const QString &usage);
    // Every option name, in the order the usage gives them.
    QStringList optionNames() const;

    struct Match
    {
        QByteArrayList arguments; // in order, repeated ones included
        QSet<QByteArray> options;
        QHash<QByteArray, QByteArrayList> values; // the words each option given took
        bool has(const char *option) const { return options.contains(option); }
    };
    // `words` after the command, checked: nothing, with `error` (a sentence for the user),
    // when an option is unknown, two of one choice are given, an option lacks the words it
    // takes, or an argument is missing or one too many. "--" ends the options.
    std::optional<Match> match(const QByteArrayList &words, QString *error) const;
};
