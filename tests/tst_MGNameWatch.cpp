#include "MGNameWatch.h"
#include "ShellHelpers.h"

#include <sys/resource.h>

// What the walk and a save of root's learn from a folder's names: every name made, removed or
// renamed since the watch began, in that folder alone, and an error where nothing can be
// learnt (which must count as "everything changed").
class tst_MGNameWatch : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;

    static int openFolder(const QString &path) { return open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

private slots:
    void everyChangeOfANameIsSeen()
    {
        QVERIFY(shOk(QStringLiteral("cd %1 && mkdir a b && touch a/kept a/gone a/moved b/other").arg(quoted(tmp.path()))));
        const int a = openFolder(tmp.filePath("a")), b = openFolder(tmp.filePath("b"));
        MGNameWatch names;
        QVERIFY(names.usable());
        const int watchA = names.watch(a), watchB = names.watch(b);
        QVERIFY(watchA >= 0 && watchB >= 0);
        QVERIFY(names.changes(a, watchA).names.isEmpty());
        // Made, removed, renamed away and renamed in (over another name), and a link made:
        // each is a change of the name; what happens to a file's contents or attributes is not.
        QVERIFY(shOk(QStringLiteral("cd %1 && rm a/gone && mv a/moved b/ && touch a/new && ln a/kept a/link && "
                                    "echo x > a/kept && chmod 600 a/kept && mv b/other a/renamed")
                         .arg(quoted(tmp.path()))));
        const MGNameWatch::Changes inA = names.changes(a, watchA);
        QCOMPARE(QSet<QByteArray>(inA.names), (QSet<QByteArray>{"gone", "moved", "new", "link", "renamed"}));
        QVERIFY(!inA.contains("kept") && inA.contains("moved"));
        QCOMPARE(names.changes(b, watchB).names, (QSet<QByteArray>{"moved", "other"}));
        // A folder let go is watched no more; a folder is not watched twice by one instance.
        names.unwatch(watchB);
        QCOMPARE(names.watch(a), -EEXIST);
        close(a);
        close(b);
    }

    // Without an instance, or once the folder is gone, nothing can be told: every name counts
    // as changed.
    void whatCannotBeLearntCountsAsChanged()
    {
        QVERIFY(shOk(QStringLiteral("mkdir %1").arg(quoted(tmp.filePath("c")))));
        const int c = openFolder(tmp.filePath("c"));
        {
            MGNameWatch names;
            const int watch = names.watch(c);
            QVERIFY(watch >= 0);
            QVERIFY(shOk(QStringLiteral("rmdir %1").arg(quoted(tmp.filePath("c")))));
            const MGNameWatch::Changes gone = names.changes(c, watch);
            QCOMPARE(gone.error, ENOENT);
            QVERIFY(gone.contains("anything"));
        }
        rlimit files;
        QVERIFY(getrlimit(RLIMIT_NOFILE, &files) == 0);
        const rlimit none = {0, files.rlim_max};
        QVERIFY(setrlimit(RLIMIT_NOFILE, &none) == 0);
        MGNameWatch starved;
        setrlimit(RLIMIT_NOFILE, &files);
        QVERIFY(!starved.usable());
        QCOMPARE(starved.watch(c), -EMFILE);
        close(c);
    }
};

QTEST_GUILESS_MAIN(tst_MGNameWatch)
#include "tst_MGNameWatch.moc"
