#include "NTLocalizedString.h"

#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QtTest>

class tst_NTLocalizedString : public QObject
{
    Q_OBJECT
private slots:
    void cleanup() { NTLocalizedString::installTranslation("C"); }

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

    void viewsAreTranslatedAndCanBeTranslatedAgain()
    {
        QWidget view;
        auto *label = new QLabel("Effective Permissions", &view);
        auto *button = new QPushButton("Done", &view);
        auto *empty = new QLabel(&view);
        auto *tabs = new QTabWidget(&view);
        tabs->addTab(new QWidget, "Set of Permissions");
        button->setToolTip("Add Entry");
        QVERIFY(NTLocalizedString::installTranslation("de"));
        NTLocalizedString::localizeView(&view, "ACL");
        QCOMPARE(label->text(), QStringLiteral("Effektive Berechtigungen"));
        QCOMPARE(button->text(), QStringLiteral("Fertig"));
        QCOMPARE(button->toolTip(), QStringLiteral("Eintrag hinzufügen"));
        QCOMPARE(tabs->tabText(0), QStringLiteral("Berechtigungen"));
        QVERIFY(empty->text().isEmpty());
        NTLocalizedString::installTranslation("C");
        NTLocalizedString::localizeView(&view, "ACL");
        QCOMPARE(label->text(), QStringLiteral("Effective Permissions"));
        QCOMPARE(tabs->tabText(0), QStringLiteral("Set of Permissions"));
    }
};

QTEST_MAIN(tst_NTLocalizedString)
#include "tst_NTLocalizedString.moc"
