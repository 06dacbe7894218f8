#include "NTLocalizedString.h"
#include "NTLocalizedView.h"

#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QtTest>

class tst_NTLocalizedView : public QObject
{
    Q_OBJECT
private slots:
    void cleanup() { NTLocalizedString::installTranslation("C"); }

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
        NTLocalizedView::localizeView(&view, "ACL");
        QCOMPARE(label->text(), QStringLiteral("Effektive Berechtigungen"));
        QCOMPARE(button->text(), QStringLiteral("Fertig"));
        QCOMPARE(button->toolTip(), QStringLiteral("Eintrag hinzufügen"));
        QCOMPARE(tabs->tabText(0), QStringLiteral("Berechtigungen"));
        QVERIFY(empty->text().isEmpty());
        NTLocalizedString::installTranslation("C");
        NTLocalizedView::localizeView(&view, "ACL");
        QCOMPARE(label->text(), QStringLiteral("Effective Permissions"));
        QCOMPARE(tabs->tabText(0), QStringLiteral("Set of Permissions"));
    }
};

QTEST_MAIN(tst_NTLocalizedView)
#include "tst_NTLocalizedView.moc"
