#include "MGAclCommandSyntax.h"

#include <QTest>

class tst_MGAclCommandSyntax : public QObject
{
    Q_OBJECT

private slots:
    void usagesAreReadAsPatterns()
    {
        const auto audit = MGAclCommandSyntax::fromUsage("audit USER-OR-GROUP PATH [--write|--read|--any] [--summary]");
        QCOMPARE(audit.command, QStringLiteral("audit"));
        QCOMPARE(audit.arguments.size(), 2);
        QCOMPARE(audit.optionNames(), QStringList({"--write", "--read", "--any", "--summary"}));
        const auto shot = MGAclCommandSyntax::fromUsage("screenshot PATH OUT.png [--find ROW TEXT] [--as-edited]");
        QCOMPARE(shot.options.value(0).values, QStringList({"ROW", "TEXT"}));
        QVERIFY(MGAclCommandSyntax::fromUsage("PATH").command.isEmpty());
        QVERIFY(MGAclCommandSyntax::fromUsage("set PATH ENTRY...").arguments.last().repeats);
    }

    void argumentsAreCheckedAgainstThem()
    {
        const auto set = MGAclCommandSyntax::fromUsage("set PATH ENTRY... [--dry-run]");
        QString error;
        const auto given = set.match({"f", "u:a:r", "--dry-run", "g:b:r"}, &error);
        QVERIFY(given);
        QCOMPARE(given->arguments, QByteArrayList({"f", "u:a:r", "g:b:r"}));
        QVERIFY(given->has("--dry-run"));
        QVERIFY(!set.match({"f"}, &error));
        QCOMPARE(error, QStringLiteral("set needs ENTRY."));
        // After "--", words that look like options are arguments.
        QCOMPARE(set.match({"--", "--dry-run", "u:a:r"}, &error)->arguments, QByteArrayList({"--dry-run", "u:a:r"}));
        // Giving one option twice is no choice between two.
        const auto audit = MGAclCommandSyntax::fromUsage("audit WHO [--write|--read]");
        QVERIFY(audit.match({"x", "--read", "--read"}, &error));
        QVERIFY(!audit.match({"x", "--read", "--write"}, &error));
        // A word with one dash is an option too, and this one is unknown; "-" alone is an argument.
        QVERIFY(!audit.match({"x", "-read"}, &error));
        QCOMPARE(error, QStringLiteral("audit has no option \u201c-read\u201d."));
        QCOMPARE(MGAclCommandSyntax::fromUsage("restore FILE|-").match({"-"}, &error)->arguments, QByteArrayList{"-"});
    }
};

QTEST_GUILESS_MAIN(tst_MGAclCommandSyntax)
#include "tst_MGAclCommandSyntax.moc"
