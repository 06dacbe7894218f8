#include "MGAclCommandSyntax.h"

#include "NTLocalizedString.h"

namespace {
QString t(const char *english)
{
    return NTLocalizedString::localize(QString::fromUtf8(english), QStringLiteral("Help"));
}

bool isArgumentName(const QString &word)
{
    return !word.isEmpty() && word.front().isUpper();
}
}

MGAclCommandSyntax MGAclCommandSyntax::fromUsage(const QString &usage)
{
    MGAclCommandSyntax syntax;
    QStringList words = usage.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (!words.isEmpty() && !isArgumentName(words.first()) && !words.first().startsWith(QLatin1Char('[')))
        syntax.command = words.takeFirst();
    for (qsizetype i = 0; i < words.size(); ++i) {
        QString word = words[i];
        if (word.startsWith(QLatin1Char('['))) {
            // "[--a|--b]" or "[--tab 0|1]": the bracket may span words.
            QStringList inside{word.mid(1)};
            while (!inside.last().endsWith(QLatin1Char(']')) && i + 1 < words.size())
                inside << words[++i];
            inside.last().chop(1);
            Option option{inside.takeFirst().split(QLatin1Char('|')), inside};
            syntax.options << option;
        } else {
            const bool repeats = word.endsWith(QStringLiteral("..."));
            if (repeats)
                word.chop(3);
            syntax.arguments << Argument{word, repeats};
        }
    }
    return syntax;
}

QStringList MGAclCommandSyntax::optionNames() const
{
    QStringList names;
    for (const Option &option : options)
        names << option.names;
    return names;
}

std::optional<MGAclCommandSyntax::Match> MGAclCommandSyntax::match(const QByteArrayList &words, QString *error) const
{
    Match match;
    QList<const Option *> chosen;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QByteArray &word = words[i];
        if (!optionsEnded && word == "--") {
            optionsEnded = true;
            continue;
        }
        // "-" alone names standard input; any other word starting with "-" is an option.
        if (optionsEnded || !word.startsWith('-') || word == "-") {
            match.arguments << word;
            continue;
        }
        const QString name = QString::fromLocal8Bit(word);
        const Option *option = nullptr;
        for (const Option &candidate : options) {
            if (candidate.names.contains(name))
                option = &candidate;
        }
        if (!option) {
            *error = t("%1 has no option \u201c%2\u201d.").arg(command, name);
            return std::nullopt;
        }
        if (chosen.contains(option) && !match.options.contains(word)) {
            *error = t("Give at most one of %1.").arg(option->names.join(QStringLiteral(", ")));
            return std::nullopt;
        }
        chosen << option;
        match.options.insert(word);
        // The words the option takes, each its own argument ("--find 3 alice").
        if (i + option->values.size() >= words.size()) {
            *error = t("%1 needs %2 after it.").arg(name, option->values.join(QLatin1Char(' ')));
            return std::nullopt;
        }
        match.values[word] = words.mid(i + 1, option->values.size());
        i += option->values.size();
    }
    QStringList names;
    for (const Argument &argument : arguments)
        names << argument.name;
    if (match.arguments.size() < arguments.size()) {
        *error = t("%1 needs %2.").arg(command, names.mid(match.arguments.size()).join(QLatin1Char(' ')));
        return std::nullopt;
    }
    const bool repeats = !arguments.isEmpty() && arguments.last().repeats;
    if (match.arguments.size() > arguments.size() && !repeats) {
        *error = t("%1 takes %2: “%3” is one too many.")
                     .arg(command, names.join(QLatin1Char(' ')), QString::fromLocal8Bit(match.arguments.at(arguments.size())));
        return std::nullopt;
    }
    return match;
}
