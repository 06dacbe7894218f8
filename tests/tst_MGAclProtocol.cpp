#include "MGAclProtocol.h"

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
};

QTEST_GUILESS_MAIN(tst_MGAclProtocol)
#include "tst_MGAclProtocol.moc"
