// marrowgate-acl audit against the kernel: on a random tree, every item it lists is one the
// identity may read, write or search exactly as it says, and every item it leaves out is
// one the identity can do nothing with, as checked by a shell running as that identity.
#include "CommandLineHelpers.h"
#include "MGAclTextFormat.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>

class tst_MGAclAudit : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    // A tree of folders and files with random owners, modes and ACL entries for nobody,
    // nogroup and others; closed and search-only folders among them.
    static bool makeRandomTree(const QString &root, QRandomGenerator &random, int depth, QStringList *made)
    {
        if (!QDir().mkpath(root))
            return false;
        const QStringList owners = {"0", "65534", "1"};
        const QStringList groups = {"0", "65534", "4"};
        QStringList commands;
        const auto decorate = [&](const QString &path, bool folder) {
            commands << QStringLiteral("chown %1:%2 %3").arg(owners[random.bounded(3)], groups[random.bounded(3)], quoted(path));
            commands << QStringLiteral("chmod %1 %2").arg(random.bounded(0777 + 1), 0, 8).arg(quoted(path));
            QStringList entries;
            for (int n = random.bounded(3); n > 0; --n) {
                const QString who = QStringList{"u:nobody", "g:nogroup", "u:daemon", "g:adm"}[random.bounded(4)];
                entries << who + ":" + QStringList{"r", "w", "x", "rw", "rx", "wx", "rwx", "-"}[random.bounded(8)];
            }
            if (random.bounded(4) == 0)
                entries << QStringLiteral("m::") + QStringList{"r", "rw", "rwx", "-"}[random.bounded(4)];
            if (!entries.isEmpty())
                commands << QStringLiteral("setfacl -m %1 %2").arg(entries.join(','), quoted(path));
            *made << path;
            Q_UNUSED(folder);
        };
        for (int i = random.bounded(2, 5); i > 0; --i) {
            const QString file = root + QStringLiteral("/f%1").arg(i);
            commands << "touch " + quoted(file);
            decorate(file, false);
        }
        if (depth > 0) {
            for (int i = random.bounded(1, 4); i > 0; --i) {
                const QString folder = root + QStringLiteral("/d%1").arg(i);
                if (!makeRandomTree(folder, random, depth - 1, made))
                    return false;
                decorate(folder, true);
            }
        }
        return shOk(commands.join(" && "));
    }

private slots:
    void listsExactlyWhatTheKernelAllows_data()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed : {2026u, 7u, 12345u, 31u})
            QTest::newRow(qPrintable(QStringLiteral("tree %1").arg(seed))) << seed;
    }
    void listsExactlyWhatTheKernelAllows()
    {
        REQUIRE_ROOT();
        QFETCH(quint32, seed);
        StagedBuild staged; // only for its check that programs start as nobody here
        REQUIRE_STAGED(staged);
        QRandomGenerator random(seed);
        const QString root = tmp.path(QStringLiteral("tree%1").arg(seed));
        QStringList items{root};
        QVERIFY(makeRandomTree(root, random, 3, &items));
        QVERIFY(shOk("chmod 755 " + quoted(root)));
        QVERIFY(items.size() > 10);

        // The kernel's answer, item by item, from a shell running as nobody.
        QFile list(tmp.path(QStringLiteral("items%1").arg(seed)));
        QVERIFY(list.open(QIODevice::WriteOnly));
        list.write(items.join('\n').toUtf8() + '\n');
        list.close();
        const QString kernelText = sh(QStringLiteral("%1 bash -c 'while IFS= read -r p; do a=; [ -r \"$p\" ] && a=r || a=-; "
                                                     "[ -w \"$p\" ] && a=${a}w || a=${a}-; [ -x \"$p\" ] && a=${a}x || a=${a}-; "
                                                     "printf \"%s\\t%s\\n\" \"$a\" \"$p\"; done' < %2")
                                          .arg(AsNobody.join(' '), quoted(list.fileName())));
        QHash<QString, QString> kernel;
        for (const QString &line : kernelText.split('\n', Qt::SkipEmptyParts))
            kernel.insert(line.section('\t', 1), line.section('\t', 0, 0));
        QCOMPARE(kernel.size(), items.size());

        for (const QString &level : {QStringLiteral("--any"), QStringLiteral("--write"), QStringLiteral("--read")}) {
            const Run audit = acl({"audit", "nobody", root, level});
            QVERIFY2(audit.status == 0, qPrintable(audit.err));
            QHash<QString, QString> listed;
            for (const QString &line : audit.out.split('\n', Qt::SkipEmptyParts)) {
                QVERIFY2(!line.startsWith('#'), qPrintable(line));
                listed.insert(line.section('\t', 2), line.section('\t', 0, 0));
            }
            const QChar letter = level == "--write" ? 'w' : 'r';
            int shown = 0;
            for (auto it = kernel.cbegin(); it != kernel.cend(); ++it) {
                const bool wanted = level == "--any" ? it.value() != "---" : it.value().contains(letter);
                if (wanted) {
                    QVERIFY2(listed.contains(it.key()), qPrintable(level + " leaves out " + it.key() + " " + it.value()));
                    QVERIFY2(listed.value(it.key()) == it.value(),
                             qPrintable(it.key() + ": audit " + listed.value(it.key()) + ", kernel " + it.value()));
                    ++shown;
                } else {
                    QVERIFY2(!listed.contains(it.key()), qPrintable(level + " lists " + it.key() + " " + it.value()));
                }
            }
            QCOMPARE(listed.size(), shown);
            qInfo("%s: %d of %lld items listed, as the kernel allows", qPrintable(level), shown, qint64(items.size()));
        }

        // The summary counts the same items.
        const Run summary = acl({"audit", "nobody", root, "--summary"});
        QCOMPARE(summary.status, 0);
        int readWrite = 0;
        for (const QString &access : std::as_const(kernel))
            readWrite += access.startsWith("rw");
        QVERIFY2(summary.out.contains(QStringLiteral("read-write\t%1\n").arg(readWrite)), qPrintable(summary.out));
        // A note (the heading, for people), then the counts.
        const QStringList summaryLines = acl({"audit", "nobody", root, "--summary", "--json"}).out.split('\n', Qt::SkipEmptyParts);
        QVERIFY(QJsonDocument::fromJson(summaryLines.value(0).toUtf8()).object().contains("note"));
        const QJsonObject counts = QJsonDocument::fromJson(summaryLines.value(1).toUtf8()).object();
        QCOMPARE(counts["readWrite"].toInt(), readWrite);

        // One JSON object per line says what each text line says, paths as bytes.
        const Run text = acl({"audit", "nobody", root, "--any"}), json = acl({"audit", "nobody", root, "--any", "--json"});
        QCOMPARE(json.status, 0);
        QStringList fromJson;
        for (const QString &line : json.out.split('\n', Qt::SkipEmptyParts)) {
            const QJsonObject item = QJsonDocument::fromJson(line.toUtf8()).object();
            const QByteArray path = item.contains("pathBase64") ? QByteArray::fromBase64(item["pathBase64"].toString().toLatin1())
                                                                 : item["path"].toString().toUtf8();
            fromJson << item["permissions"].toString() + '\t' + item["grantedBy"].toString() + '\t'
                    + QString::fromUtf8(MGAclTextFormat::escapePath(path));
        }
        // Folders are walked in parallel: two runs may list them in other orders.
        QStringList lines = text.out.split('\n', Qt::SkipEmptyParts);
        lines.sort();
        fromJson.sort();
        QCOMPARE(fromJson, lines);
    }

    // Below a folder that keeps the identity out, nothing is looked at, and that is said.
    void aClosedFolderAboveEndsTheAudit()
    {
        REQUIRE_ROOT();
        const QString closed = tmp.path("closed");
        QVERIFY(shOk(QStringLiteral("mkdir -p %1/inner && chmod 700 %1 && touch %1/inner/f && setfacl -m u:nobody:rwx "
                                    "%1/inner %1/inner/f")
                         .arg(quoted(closed))));
        const Run run = acl({"audit", "nobody", closed + "/inner", "--any"});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out, QStringLiteral("# \u201cnobody\u201d cannot enter the folder \u201c%1\u201d on this item's path: "
                                         "nothing here is within their reach.\n")
                              .arg(closed));
        QVERIFY(shOk("chmod 711 " + quoted(closed)));
        const Run open = acl({"audit", "nobody", closed + "/inner", "--any"});
        QVERIFY2(open.out.contains("rwx\tuser:nobody\t" + closed + "/inner/f\n"), qPrintable(open.out));
    }

    void wrongUseSaysWhatIsWrong()
    {
        QCOMPARE(acl({"audit", "nobody"}).status, 64);
        QCOMPARE(acl({"audit", "nobody", tmp.path(), "--read", "--write"}).status, 64);
        const Run unknown = acl({"audit", "no-such-account-here", tmp.path()});
        QCOMPARE(unknown.status, 1);
        QVERIFY(unknown.err.contains("No user or group is named"));
    }
};

QTEST_GUILESS_MAIN(tst_MGAclAudit)
#include "tst_MGAclAudit.moc"
