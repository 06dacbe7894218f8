#include "MGIdentityPopUpButton.h"
#include "MGValueTransformer.h"

#include <QScreen>
#include <QLineEdit>
#include <QListView>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QtTest>

namespace {
// Users, the "-----" placeholder and a title, then groups: the shape identity lists have.
QVariantList identities(int users)
{
    QVariantList list;
    for (int i = 0; i < users; ++i)
        list << QVariant::fromValue(CBIdentity::user(10000 + i, QStringLiteral("user%1").arg(i),
                                                     QStringLiteral("Person Number %1").arg(i)));
    list << QVariant::fromValue(CBIdentity::user(1, "alice", "Alice Liddell"));
    list << QVariant::fromValue(CBIdentity::user(2, "staff"));
    list << QStringLiteral("-----") << QStringLiteral("Groups");
    list << QVariant::fromValue(CBIdentity::group(3, "staff"));
    return list;
}

QStringList shownRows(QListView *list)
{
    QStringList rows;
    for (int row = 0; row < list->model()->rowCount(); ++row)
        rows << list->model()->index(row, 0).data().toString();
    return rows;
}
}

class tst_MGIdentityPopUpButton : public QObject
{
    Q_OBJECT
private slots:
    void menusAreTidiedAsTheyOpen()
    {
        // [user A, "-----", "Groups", group B] opens as [user A, separator, "Groups" that
        // cannot be chosen, group B]; two placeholders give two separators.
        QComboBox menu;
        menu.addItem("A", QVariant::fromValue(CBIdentity::user(1, "a")));
        menu.addItem("-----", QStringLiteral("-----"));
        menu.addItem("-----", QStringLiteral("-----"));
        menu.addItem("Groups", QStringLiteral("Groups"));
        menu.addItem("B", QVariant::fromValue(CBIdentity::group(2, "b")));
        MGIdentityMenus::menuNeedsUpdate(&menu);
        auto *model = qobject_cast<QStandardItemModel *>(menu.model());
        QCOMPARE(menu.count(), 5);
        QVERIFY(model->item(0)->isEnabled());
        QCOMPARE(menu.itemData(1, Qt::AccessibleDescriptionRole).toString(), QStringLiteral("separator"));
        QCOMPARE(menu.itemData(2, Qt::AccessibleDescriptionRole).toString(), QStringLiteral("separator"));
        QVERIFY(!model->item(3)->isEnabled());
        QVERIFY(model->item(4)->isEnabled());
        MGIdentityMenus::menuNeedsUpdate(&menu); // again: nothing changes
        QCOMPARE(menu.count(), 5);
    }

    void typingFindsByLoginOrFullNameAmongThousands()
    {
        MGIdentityPopUpButton button;
        button.setIdentities(identities(5000), CBIdentity::user(1));
        connect(&button, &MGIdentityPopUpButton::menuAboutToShow, &button, &MGIdentityMenus::menuNeedsUpdate);
        button.show();
        QSignalSpy chosen(&button, &MGIdentityPopUpButton::identityChosen);
        QTest::mouseClick(&button, Qt::LeftButton);
        QTRY_VERIFY(button.searchField());
        QTest::keyClicks(button.searchField(), "liddell");
        QCOMPARE(shownRows(button.listView()), QStringList{"Alice Liddell (alice)"});
        QTest::keyClick(button.searchField(), Qt::Key_Backspace);
        button.searchField()->setText("number 4999");
        QCOMPARE(shownRows(button.listView()), QStringList{"Person Number 4999 (user4999)"});
        // Enter takes the match.
        QTest::keyClick(button.searchField(), Qt::Key_Return);
        QCOMPARE(chosen.count(), 1);
        QCOMPARE(chosen.first().first().value<CBIdentity>().posixName(), QStringLiteral("user4999"));
        QCOMPARE(button.identity().posixName(), QStringLiteral("user4999"));
    }

    void theListIsAsWideAsItsLongestNameWithinTheScreen()
    {
        QVariantList list = identities(10);
        const QString longName = QStringLiteral("Maximiliane Wilhelmina von Hohenzollern-Sigmaringen");
        list.prepend(QVariant::fromValue(CBIdentity::user(7, "mvonhohenzollern", longName)));
        MGIdentityPopUpButton button;
        button.setIdentities(list, CBIdentity::user(1));
        button.resize(120, button.sizeHint().height());
        button.show();
        QTest::mouseClick(&button, Qt::LeftButton);
        QTRY_VERIFY(button.listView());
        QListView *view = button.listView();
        const QString shown = longName + " (mvonhohenzollern)";
        const int needed = view->fontMetrics().horizontalAdvance(shown) + view->iconSize().width();
        QVERIFY2(view->viewport()->width() >= needed, qPrintable(QString("%1 < %2").arg(view->viewport()->width()).arg(needed)));
        const QRect screen = button.screen()->availableGeometry();
        QVERIFY(screen.contains(view->window()->geometry().topLeft()));
        QVERIFY(view->window()->geometry().right() <= screen.right());
        button.hidePopup();
    }

    void aUserAndAGroupOfOneNameAreToldApart()
    {
        MGIdentityPopUpButton button;
        button.setIdentities(identities(0), CBIdentity());
        button.show();
        QTest::mouseClick(&button, Qt::LeftButton);
        QTRY_VERIFY(button.searchField());
        QTest::keyClicks(button.searchField(), "staff");
        QCOMPARE(shownRows(button.listView()), (QStringList{"staff", "staff"}));
        const QModelIndex user = button.listView()->model()->index(0, 0);
        const QModelIndex group = button.listView()->model()->index(1, 0);
        QCOMPARE(user.data(Qt::ToolTipRole).toString(), QStringLiteral("User"));
        QCOMPARE(group.data(Qt::ToolTipRole).toString(), QStringLiteral("Group"));
        QVERIFY(user.data(Qt::DecorationRole).value<QIcon>().pixmap(16).toImage()
                != group.data(Qt::DecorationRole).value<QIcon>().pixmap(16).toImage());
        // Down, Enter: the second, the group.
        QSignalSpy chosen(&button, &MGIdentityPopUpButton::identityChosen);
        QTest::keyClick(button.searchField(), Qt::Key_Down);
        QTest::keyClick(button.searchField(), Qt::Key_Return);
        QCOMPARE(chosen.count(), 1);
        QVERIFY(chosen.first().first().value<CBIdentity>().isGroup());
    }

    void escapeChoosesNothing()
    {
        MGIdentityPopUpButton button;
        button.setIdentities(identities(3), CBIdentity::user(1));
        button.show();
        QSignalSpy chosen(&button, &MGIdentityPopUpButton::identityChosen);
        button.showPopup();
        QTRY_VERIFY(button.searchField());
        QTest::keyClicks(button.searchField(), "user2");
        QTest::keyClick(button.searchField(), Qt::Key_Escape);
        QTRY_VERIFY(!button.searchField());
        QCOMPARE(chosen.count(), 0);
        QCOMPARE(button.identity().posixName(), QStringLiteral("alice"));
    }

    void anIdentityWithoutAnAccountIsStillShown()
    {
        MGIdentityPopUpButton button;
        button.setIdentities(identities(2), CBIdentity::user(4242));
        QCOMPARE(button.currentText(), QStringLiteral("uid:4242"));
        QCOMPARE(button.identity(), CBIdentity::user(4242));
    }
};

QTEST_MAIN(tst_MGIdentityPopUpButton)
#include "tst_MGIdentityPopUpButton.moc"
