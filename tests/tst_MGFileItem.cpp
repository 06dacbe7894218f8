#include "MGFileItem.h"
#include "MGPosixAcl.h"
#include "ShellHelpers.h"

#include <QScopeGuard>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

// An item resolved once, without links, and reached through its descriptor only.
class tst_MGFileItem : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

private slots:
    void cleanup() { MGDescriptors::setUseNewerCalls(true); }

    void aLinkInAnyPartOfThePathIsRefused_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("the item") << "linkfile";
        QTest::newRow("a folder on the way") << "linkdir/file";
        QTest::newRow("a link to a link") << "linklink";
    }
    void aLinkInAnyPartOfThePathIsRefused()
    {
        QFETCH(QString, path);
        QVERIFY(shOk(QStringLiteral("cd %1 && mkdir -p dir && touch dir/file && ln -sfn dir/file linkfile && "
                                    "ln -sfn dir linkdir && ln -sfn linkfile linklink")
                         .arg(quoted(tmp.path()))));
        const MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(tmp.path(path)), "Cannot read");
        QVERIFY(!item);
        QCOMPARE(item.error().code(), ELOOP);
        QVERIFY2(item.error().localizedDescription().contains("symbolic link"), qPrintable(item.error().localizedDescription()));
        QVERIFY(MGFileItem::open(QFile::encodeName(tmp.path("dir/file")), "Cannot read"));
    }

    void pathsMustBeAbsoluteAndAreBytes()
    {
        QVERIFY(!MGFileItem::open("relative", "Cannot read"));
        QCOMPARE(MGFileItem::open("relative", "Cannot read").error().code(), EINVAL);
        const QByteArray latin1 = QFile::encodeName(tmp.path()) + "/caf\xe9";
        QVERIFY(std::fclose(std::fopen(latin1.constData(), "w")) == 0);
        const MGResult<MGFileItem> item = MGFileItem::open(latin1, "Cannot read");
        QVERIFY(item);
        QCOMPARE(item->path(), latin1);
        QCOMPARE(MGFileItem::open(QFile::encodeName(tmp.path()) + "/caf\xc3\xa9", "Cannot read").error().code(), ENOENT);
    }

    void everyCallReachesTheItemThatWasResolved_data()
    {
        QTest::addColumn<bool>("opened");
        QTest::newRow("O_PATH descriptor") << false;
        QTest::newRow("descriptor open for reading") << true;
    }

    void everyCallReachesTheItemThatWasResolved()
    {
        // Once resolved, the item is changed wherever it goes and whatever takes its name,
        // through either kind of descriptor.
        QFETCH(bool, opened);
        const QString file = tmp.path(opened ? "moving-open" : "moving");
        const QString other = file + ".other";
        QVERIFY(shOk(QStringLiteral("touch %1 %2 && chmod 600 %1 %2").arg(quoted(file), quoted(other))));
        MGResult<MGFileItem> item = MGFileItem::open(QFile::encodeName(file), "Cannot change");
        QVERIFY(item);
        const int readable = open(QFile::encodeName(file).constData(), O_RDONLY | O_CLOEXEC);
        QVERIFY(readable >= 0);
        const auto closeReadable = qScopeGuard([readable] { close(readable); });
        const MGDescriptor descriptor = opened ? MGDescriptor::opened(readable) : item->handle();
        QVERIFY(shOk(QStringLiteral("mv %1 %1.moved && mv %2 %1").arg(quoted(file), quoted(other))));
        for (bool newer : {true, false}) {
            MGDescriptors::setUseNewerCalls(newer);
            const int mode = newer ? 0640 : 0604;
            QCOMPARE(MGDescriptors::changeMode(descriptor, mode), 0);
            QCOMPARE(sh("stat -c %a " + quoted(file + ".moved")).trimmed(), QString::number(mode, 8));
        }
        MGPosixAcl named = MGPosixAcl::fromMode(0640);
        named.set(MGPosixAcl::User, 4, 1);
        named.set(MGPosixAcl::Mask, 4);
        const QByteArray acl = named.toXattr();
        QCOMPARE(MGDescriptors::setAttribute(descriptor, MGPosixAcl::AccessAttribute, acl), 0);
        QByteArray read;
        QCOMPARE(MGDescriptors::attribute(descriptor, MGPosixAcl::AccessAttribute, &read), 0);
        QCOMPARE(read, acl);
        // What one kind wrote, the other reads.
        QCOMPARE(MGDescriptors::attribute(opened ? item->handle() : MGDescriptor::opened(readable),
                                          MGPosixAcl::AccessAttribute, &read),
                 0);
        QCOMPARE(read, acl);
        if (geteuid() == 0) {
            QCOMPARE(MGDescriptors::changeOwner(descriptor, 65534, 65534), 0);
            QCOMPARE(sh("stat -c %u " + quoted(file + ".moved")).trimmed(), QStringLiteral("65534"));
        }
        QCOMPARE(MGDescriptors::removeAttribute(descriptor, MGPosixAcl::AccessAttribute), 0);
        QCOMPARE(MGDescriptors::removeAttribute(descriptor, MGPosixAcl::AccessAttribute), 0); // gone: done
        struct statx status;
        QCOMPARE(item->status(&status), 0);
        QVERIFY(S_ISREG(status.stx_mode) && status.stx_nlink == 1);
        // The name's new owner was never touched.
        QCOMPARE(sh("stat -c '%a %u' " + quoted(file)).trimmed(), QStringLiteral("600 %1").arg(geteuid()));
    }

    void aFileSystemWithoutAttributesReadsAsHavingNone()
    {
        const MGResult<MGFileItem> item = MGFileItem::open("/proc/version", "Cannot read");
        QVERIFY(item);
        QByteArray value = "x";
        QCOMPARE(MGDescriptors::attribute(item->handle(), MGPosixAcl::AccessAttribute, &value), 0);
        QVERIFY(value.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_MGFileItem)
#include "tst_MGFileItem.moc"
