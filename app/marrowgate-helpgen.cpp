// marrowgate-helpgen: a build tool that makes, from a program's help source
// (app/help/NAME.help), its manual page and the files that carry its help or usages:
//   marrowgate-helpgen man SOURCE VERSION OUT
//   marrowgate-helpgen text SOURCE TEMPLATE OUT        @HELP@ in TEMPLATE: the --help text
//   marrowgate-helpgen completion SOURCE TEMPLATE OUT  @USAGES@: the usages, one quoted per line
#include "MGAclHelpPage.h"

#include <QCoreApplication>
#include <QFile>
#include <cstdio>

namespace {
std::optional<QByteArray> contents(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "marrowgate-helpgen: %s: %s\n", qPrintable(path), qPrintable(file.errorString()));
        return std::nullopt;
    }
    return file.readAll();
}

// A bash word in single quotes.
QString quoted(QString text)
{
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QStringLiteral("'\\''")) + QLatin1Char('\'');
}
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments().mid(1);
    const QString what = arguments.value(0);
    if (arguments.size() != 4 || !QStringList{"man", "text", "completion"}.contains(what)) {
        std::fprintf(stderr, "usage: marrowgate-helpgen man SOURCE VERSION OUT\n"
                             "       marrowgate-helpgen text|completion SOURCE TEMPLATE OUT\n");
        return 64;
    }
    const std::optional<QByteArray> source = contents(arguments[1]);
    if (!source)
        return 1;
    QString problem;
    const std::optional<MGAclHelpPage> page = MGAclHelpPage::parse(*source, &problem);
    if (!page) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(arguments[1]), qPrintable(problem));
        return 1;
    }
    QByteArray out;
    if (what == QLatin1String("man")) {
        out = page->manPage(arguments[2]);
    } else {
        const std::optional<QByteArray> tmpl = contents(arguments[2]);
        if (!tmpl)
            return 1;
        out = *tmpl;
        if (what == QLatin1String("text")) {
            // The template ends the line itself.
            QByteArray help = page->plainText([](const QString &english) { return english; }).toUtf8();
            help.chop(1);
            out.replace("@HELP@", help);
        } else {
            QStringList usages;
            for (const QString &usage : page->usages)
                usages << QStringLiteral("    ") + quoted(usage);
            out.replace("@USAGES@", usages.join(QLatin1Char('\n')).toUtf8());
        }
    }
    QFile file(arguments[3]);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(out) != out.size()) {
        std::fprintf(stderr, "marrowgate-helpgen: %s: %s\n", qPrintable(arguments[3]), qPrintable(file.errorString()));
        return 1;
    }
    return 0;
}
