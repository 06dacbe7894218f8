#include "MGAclProtocol.h"
#include "MGAclEntry.h"
#include "MGPropagationProgress.h"
#include "MGRemoteClasses.h"

#include <QCborArray>

#include <QtTest>

class tst_MGAclProtocol : public QObject
{
    Q_OBJECT
private slots:
    void eachMethodHasItsSelectorRightAndDescription_data()
    {
        QTest::addColumn<MGAclRemoteMethod>("method");
        QTest::addColumn<QString>("selector");
        QTest::addColumn<QString>("right");
        QTest::addColumn<QString>("description");
        QTest::newRow("read") << MGAclRemoteMethod::GetEntries << "getAclEntriesWithUrl:reply:"
                              << "com.quillwork.Marrowgate.GetFileAcl" << "Error retrieving Acces Control List entries";
        QTest::newRow("write") << MGAclRemoteMethod::SetEntries << "setAclEntries:url:reply:"
                               << "com.quillwork.Marrowgate.SetFileAcl" << "Error saving Acces Control List entries";
        QTest::newRow("propagate")
            << MGAclRemoteMethod::PropagateEntries << "propagateAclEntries:url:reply:"
            << "com.quillwork.Marrowgate.PropagateFileAcl"
            << "Error propagating file Access Control List, POSIX permissions, owner and group";
        QTest::newRow("access") << MGAclRemoteMethod::GetAccess << "getAclAccessWithUrl:uuid:reply:"
                                << "com.quillwork.Marrowgate.GetFileAccess"
                                << "Error retrieving effective file access permissions";
    }
    void eachMethodHasItsSelectorRightAndDescription()
    {
        QFETCH(MGAclRemoteMethod, method);
        QFETCH(QString, selector);
        QFETCH(QString, right);
        QFETCH(QString, description);
        QCOMPARE(QString::fromLatin1(MGAclProtocol::selector(method)), selector);
        QCOMPARE(QString::fromLatin1(MGAclProtocol::right(method)), right);
        QCOMPARE(MGAclProtocol::description(method), description);
        QCOMPARE(MGAclProtocol::methodForSelector(selector), method);
    }

    void unknownSelectorsNameNoMethod()
    {
        QVERIFY(!MGAclProtocol::methodForSelector("getAclEntriesWithUrl:"));
        QVERIFY(!MGAclProtocol::methodForSelector(QString()));
        QVERIFY(!MGAclProtocol::methodForSelector("GETACLENTRIESWITHURL:REPLY:"));
    }

    void aRequestCarriesNumberMethodLanguageAndArguments()
    {
        const QCborMap request = MGAclProtocol::request(42, MGAclRemoteMethod::SetEntries, "de_DE", {{"url", "/x"}});
        QCOMPARE(request.value("id").toInteger(), 42);
        QCOMPARE(request.value("method").toString(), QStringLiteral("setAclEntries:url:reply:"));
        QCOMPARE(request.value("locale").toString(), QStringLiteral("de_DE"));
        QCOMPARE(request.value("args").toMap(), (QCborMap{{"url", "/x"}}));
        QCOMPARE(request.size(), 4);
    }

    // A request's number and method are read without its arguments; anything else reads as
    // nothing.
    void headersAreReadWithoutTheArguments()
    {
        const QByteArray propagate = MGAclProtocol::request(42, MGAclRemoteMethod::PropagateEntries, "de_DE",
                                                            {{"path", QByteArray("/x")}, {"entries", QCborArray()}})
                                         .toCborValue()
                                         .toCbor();
        MGAclProtocol::Header header = MGAclProtocol::peek(propagate);
        QCOMPARE(header.id, 42);
        QCOMPARE(header.method, MGAclRemoteMethod::PropagateEntries);
        header = MGAclProtocol::peek(QCborMap{{"method", "stopPropagation:reply:"}, {"id", 7}}.toCborValue().toCbor());
        QCOMPARE(header.id, 7);
        QCOMPARE(header.method, MGAclRemoteMethod::StopPropagation);
        // A tagged value is stepped over with its tag: the fields after it are read as theirs
        // (a tag taken alone paired every value after it with the next field's name).
        const QCborMap tagged{{"locale", QCborValue(QCborTag(1000), QStringLiteral("method"))},
                              {"method", "getAclEntriesWithUrl:reply:"},
                              {QCborValue(QCborTag(1001), 5), 6},
                              {"id", 2}};
        header = MGAclProtocol::peek(tagged.toCborValue().toCbor());
        QCOMPARE(header.method, MGAclRemoteMethod::GetEntries);
        QCOMPARE(header.id, 2);
        for (const QByteArray &junk : {QByteArray(), QByteArray("\xff\xff"), QCborArray{1, 2}.toCborValue().toCbor(),
                                       QCborMap{{"id", -3}, {"method", 5}}.toCborValue().toCbor(),
                                       propagate.left(propagate.size() / 2)}) {
            header = MGAclProtocol::peek(junk);
            QVERIFY(!header.method || header.id >= 0);
            QVERIFY(header.id >= -1);
        }
    }

    // Progress reports from elsewhere are read as carefully as replies.
    void repliesAreSortedIntoTheKindsTheyHold()
    {
        using namespace MGRemoteClasses;
        const QCborValue entry =
            MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(7, "seven"), 1, 0, false, true)->toCbor();
        QCOMPARE(classesIn(QCborArray{QStringLiteral("title"), entry}), Classes(Array) | String | AclEntry);
        // An entry's fields without its tag are not an entry, and what they hold (true or
        // false) is no kind any reply carries.
        QCOMPARE(classesIn(entry.taggedValue()) & Unknown, Classes(Unknown));
        QCOMPARE(classesIn(QCborValue(QCborTag(MGAclEntry::CborTag + 1), entry.taggedValue())), Classes(Unknown));
        QCOMPARE(classesIn(QCborArray{1, 2}), Classes(Array) | Number);
    }

    void progressReportsRoundTripAndRefuseJunk()
    {
        MGPropagationProgress progress;
        progress.changed = 3;
        progress.links = 2;
        progress.failed = 1;
        progress.failedPaths = {"/a (Permission denied)"};
        progress.folder = QByteArray("/t/\xff");
        progress.finished = true;
        QString why;
        const auto back = MGPropagationProgress::fromCbor(progress.toCbor(), &why);
        QVERIFY2(back, qPrintable(why));
        QCOMPARE(back->toCbor(), progress.toCbor());
        QCOMPARE(back->summaryText(), QStringLiteral("3 changed, 0 already right, 2 skipped (2 links), 1 failed: "
                                                     "/a (Permission denied)"));
        QCborMap bad = progress.toCbor();
        bad.insert(QStringLiteral("changed"), -1);
        QVERIFY(!MGPropagationProgress::fromCbor(bad, &why));
        bad = progress.toCbor();
        bad.insert(QStringLiteral("extra"), 1);
        QVERIFY(!MGPropagationProgress::fromCbor(bad, &why));
        bad = progress.toCbor();
        bad.insert(QStringLiteral("failedPaths"), QCborArray{1, 2, 3, 4, 5, 6});
        QVERIFY(!MGPropagationProgress::fromCbor(bad, &why));
    }
};

QTEST_GUILESS_MAIN(tst_MGAclProtocol)
#include "tst_MGAclProtocol.moc"
