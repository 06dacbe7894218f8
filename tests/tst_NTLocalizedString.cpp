#include "NTLocalizedString.h"

#include <QtTest>

class tst_NTLocalizedString : public QObject
{
    Q_OBJECT
private slots:
    void cleanup() { NTLocalizedString::installTranslation("C"); }

    // Counts are grouped in every language, "C" included, whose numbers otherwise are not.
    void countsAreGroupedInEveryLanguage()
    {
        NTLocalizedString::installTranslation("C");
        QCOMPARE(NTLocalizedString::count(50500), QStringLiteral("50,500"));
        NTLocalizedString::installTranslation("de_DE");
        QCOMPARE(NTLocalizedString::count(1234567), QStringLiteral("1.234.567"));
    }

    void tablesAreSeparate()
    {
        QCOMPARE(NTLocalizedString::localize("Yes"), QStringLiteral("Yes"));
        QVERIFY(NTLocalizedString::installTranslation("de_DE"));
        QCOMPARE(NTLocalizedString::localize("Yes"), QStringLiteral("Ja"));
        QCOMPARE(NTLocalizedString::localize("Read", "ACL"), QStringLiteral("Lesen"));
        // "Yes" lives in the default table only, "Read" in "ACL" only.
        QCOMPARE(NTLocalizedString::localize("Yes", "ACL"), QStringLiteral("Yes"));
        QCOMPARE(NTLocalizedString::localize("Read"), QStringLiteral("Read"));
        QCOMPARE(NTLocalizedString::localize("not a key", "ACL"), QStringLiteral("not a key"));
        QVERIFY(!NTLocalizedString::installTranslation("xx"));
        QCOMPARE(NTLocalizedString::localize("Yes"), QStringLiteral("Yes"));
    }

    void everyTextOfTheTranslationIsTranslated()
    {
        // A German table with an untranslated or empty entry would show English mid-window.
        QFile ts(QStringLiteral(MARROWGATE_SOURCE_DIR "/resources/marrowgate_de.ts"));
        QVERIFY(ts.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(ts.readAll());
        QVERIFY(!text.contains("type=\"unfinished\""));
        QVERIFY(!text.contains("<translation></translation>"));
        QVERIFY(text.count("<message>") > 40);
    }
};

QTEST_GUILESS_MAIN(tst_NTLocalizedString)
#include "tst_NTLocalizedString.moc"
