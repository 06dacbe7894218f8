#include "MGAclCommandLine.h"
#include "MGAclHelpPage.h"
#include "NTLocalizedString.h"
#include "ShellHelpers.h"

#include <QDir>
#include <QFile>
#include <QProcess>

// The help is written once; --help, the manual pages and the shell completion are made from
// it, so they cannot say different things.
class tst_MGAclHelpPage : public QObject
{
    Q_OBJECT

    static QString built(const QString &name) { return QStringLiteral(MARROWGATE_BUILD_DIR "/help/") + name; }

    static QByteArray source(const QString &program)
    {
        QFile file(QStringLiteral(MARROWGATE_SOURCE_DIR "/app/help/") + program + ".help");
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // What bash completes for a command line typed so far (the last word is being typed).
    static QStringList completions(const QStringList &words)
    {
        QStringList quotedWords;
        for (const QString &word : words)
            quotedWords << quoted(word);
        QProcess bash;
        // As bash calls it: the line up to the cursor, and the words split at its word breaks.
        const QString line = words.join(' ');
        bash.start("bash", {"--norc", "-c", QStringLiteral("source %1; COMP_WORDBREAKS=$' \\t\\n\\\"\\'><=;|&(:'; COMP_LINE=%2; COMP_POINT=${#COMP_LINE}; "
                                                           "COMP_WORDS=(%3); COMP_CWORD=%4; _marrowgate_acl; "
                                                           "printf '%s\\n' \"${COMPREPLY[@]}\"")
                                                .arg(quoted(built("marrowgate-acl.bash")), quoted(line), quotedWords.join(' '))
                                                .arg(words.size() - 1)});
        bash.waitForFinished();
        return QString::fromUtf8(bash.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    }

private slots:
    void brokenSourcesAreRefusedNamingTheLine()
    {
        QString problem;
        QVERIFY(!MGAclHelpPage::parse("name x\nsummary y\nusage\nbogus z\n", &problem));
        QVERIFY2(problem.startsWith("line 4: unknown keyword"), qPrintable(problem));
        QVERIFY(!MGAclHelpPage::parse("name x\nsummary y\nusage\nitem --a\n    text\n", &problem));
        QVERIFY2(problem.contains("before any section"), qPrintable(problem));
        QVERIFY(!MGAclHelpPage::parse("name x\nsummary y\nusage\nsection S\nitem --a\n", &problem));
        QVERIFY2(problem.startsWith("line 5: an item needs"), qPrintable(problem));
        QVERIFY(!MGAclHelpPage::parse("summary y\nusage\n", &problem));
        const auto page = MGAclHelpPage::parse("name x\nsummary y\nusage\nsection S\nitem --a\n    one\n    two\n", &problem);
        QVERIFY(page);
        QCOMPARE(page->sections.value(0).blocks.value(0).text, QStringLiteral("one two"));
    }

    void helpTextKeepsAnOptionWithItsWords()
    {
        const auto page = MGAclHelpPage::parse(source("marrowgate-acl"), nullptr);
        QVERIFY(page);
        const QString text = page->plainText([](const QString &english) { return english; }, 80);
        for (const QString &line : text.split('\n')) {
            QVERIFY2(line.size() <= 80 || !line.contains(' ', Qt::CaseSensitive), qPrintable(line));
            QVERIFY2(line.count('[') == line.count(']'), qPrintable(line));
        }
        QCOMPARE(MGAclCommandLine::helpPage().usages, page->usages);
    }

    // Every text of --help has its German translation: a text changed in English alone would
    // show up here.
    void everyHelpTextIsTranslated()
    {
        NTLocalizedString::ThreadLanguage german(QStringLiteral("de_DE"));
        for (const QString &text : MGAclCommandLine::helpPage().translatableTexts()) {
            const QString translated = NTLocalizedString::localize(text, QStringLiteral("Help"));
            QVERIFY2(translated != text, qPrintable(text));
        }
    }

    void manualPagesRenderWithEveryUsage()
    {
        for (const QString &program : {QStringLiteral("marrowgate-acl"), QStringLiteral("marrowgate-acl-integrate")}) {
            QVERIFY(QFile::exists(built(program + ".1.gz")));
            QProcess man;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.insert("MANWIDTH", "200");
            env.insert("LANG", "C.UTF-8");
            man.setProcessEnvironment(env);
            man.start("man", {"-l", built(program + ".1")});
            QVERIFY(man.waitForFinished(30000));
            QCOMPARE(man.exitCode(), 0);
            const QString page = QString::fromUtf8(man.readAllStandardOutput());
            const auto help = MGAclHelpPage::parse(source(program), nullptr);
            QVERIFY(help);
            QVERIFY2(page.contains("NAME\n       " + program + " - "), qPrintable(page));
            for (const QString &usage : help->usages)
                QVERIFY2(page.contains((program + ' ' + usage).trimmed()), qPrintable(usage));
            for (const MGAclHelpPage::Section &section : help->sections)
                QVERIFY(page.contains("\n" + section.title.toUpper() + "\n"));
            QVERIFY(page.contains("SEE ALSO"));
        }
        // The integration script's --help is the same text.
        const auto integrate = MGAclHelpPage::parse(source("marrowgate-acl-integrate"), nullptr);
        QCOMPARE(sh("sh " + quoted(built("marrowgate-acl-integrate")) + " --help"),
                 integrate->plainText([](const QString &english) { return english; }));
    }

    void completionOffersCommandsOptionsAndNames()
    {
        QVERIFY(completions({"marrowgate-acl", "pro"}).contains("propagate"));
        QCOMPARE(completions({"marrowgate-acl", "audit", "--"}),
                 QStringList({"--write", "--read", "--any", "--summary", "--json"}));
        QCOMPARE(completions({"marrowgate-acl", "list", "/tmp", "--"}), QStringList{"--json"});
        // Users and groups where the command takes one, as a name, with its kind, or in an entry.
        QVERIFY(completions({"marrowgate-acl", "access", "nob"}).contains("nobody"));
        // Bash breaks words at ":" and puts back only what follows it.
        QVERIFY(completions({"marrowgate-acl", "access", "group:nog"}).contains("nogroup"));
        QVERIFY(completions({"marrowgate-acl", "audit", "--read", "daem"}).contains("daemon"));
        QCOMPARE(completions({"marrowgate-acl", "set", "/tmp", "d:u:nob"}), QStringList{"nobody"});
        QCOMPARE(completions({"marrowgate-acl", "set", "/tmp", "u:nobody:rwx", "g:nog"}), QStringList{"nogroup"});
        QCOMPARE(completions({"marrowgate-acl", "screenshot", "/tmp", "x.png", "--who", "nob"}), QStringList{"nobody"});
        // Files and folders where it takes a path.
        QVERIFY(completions({"marrowgate-acl", "list", "/et"}).contains("/etc"));
        QVERIFY(completions({"marrowgate-acl", "propagate", "/etc/pas"}).isEmpty());
        QVERIFY(completions({"marrowgate-acl", "access", "nobody", "/etc/pas"}).contains("/etc/passwd"));
        // A name with a space is one completion.
        const QString spaced = QDir::tempPath() + "/marrowgate completion test";
        QVERIFY(QDir().mkpath(spaced));
        QCOMPARE(completions({"marrowgate-acl", "list", QDir::tempPath() + "/marrowgate"}).filter("completion").value(0), spaced);
        QDir(spaced).removeRecursively();
    }
};

QTEST_GUILESS_MAIN(tst_MGAclHelpPage)
#include "tst_MGAclHelpPage.moc"
