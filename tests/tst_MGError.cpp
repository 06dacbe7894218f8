#include "MGError.h"

#include <QCborMap>
#include <QtTest>
#include <cerrno>

class tst_MGError : public QObject
{
    Q_OBJECT
private slots:
    void permissionErrorsAreExactlyEpermAndEacces()
    {
        QVERIFY(MGError::posixError(EPERM, "x").isPermissionError());
        QVERIFY(MGError::posixError(EACCES, "x").isPermissionError());
        QVERIFY(!MGError::posixError(ENOENT, "x").isPermissionError());
        QVERIFY(!MGError::posixError(EROFS, "x").isPermissionError());
        QVERIFY(!MGError("OtherDomain", EACCES, "x").isPermissionError());
    }

    void wrappingKeepsTheCauseReachable()
    {
        const MGError cause(MGError::OSStatusDomain, MGError::AuthorizationCanceled, "cancelled");
        const MGError wrapped = MGError::errorWithError(cause, "Error retrieving Acces Control List entries");
        QCOMPARE(wrapped.localizedDescription(), QStringLiteral("Error retrieving Acces Control List entries"));
        QVERIFY(wrapped.underlyingError());
        QCOMPARE(*wrapped.underlyingError(), cause);
        QVERIFY(wrapped.isAuthorizationCanceled());
        QCOMPARE(wrapped.fullDescription(), QStringLiteral("Error retrieving Acces Control List entries\ncancelled"));
    }

    void cborRoundTripAndHostileInput()
    {
        const MGError error = MGError::errorWithError(MGError::posixError(EACCES, "/secret: Permission denied"), "outer");
        QString problem;
        const auto decoded = MGError::fromCbor(QCborValue::fromCbor(error.toCbor().toCbor()), &problem);
        QVERIFY2(decoded, qPrintable(problem));
        QCOMPARE(*decoded, error);
        QVERIFY(!MGError::fromCbor(QCborMap{{"domain", "d"}, {"code", "1"}, {"description", "x"}}, &problem));
        QVERIFY(!MGError::fromCbor(QCborMap{{"domain", "d"}, {"code", 1}, {"description", "x"}, {"more", 1}}, &problem));
        QVERIFY(!MGError::fromCbor(QCborMap{{"domain", "d"}, {"code", qint64(1) << 40}, {"description", "x"}}, &problem));
        QCborValue deep = MGError("d", 1, "x").toCbor();
        for (int i = 0; i < 20; ++i)
            deep = QCborMap{{"domain", "d"}, {"code", 1}, {"description", "x"}, {"underlying", deep}};
        QVERIFY(!MGError::fromCbor(deep, &problem));
    }
};

QTEST_GUILESS_MAIN(tst_MGError)
#include "tst_MGError.moc"
