#include "MGAclPermissionViewController.h"
#include "MGValueTransformer.h"
#include "MGAclValueTransformers.h"

#include <QLabel>
#include <QSignalSpy>
#include <QAbstractItemModelTester>
#include <QStandardItem>
#include <QStyleOptionViewItem>
#include <QtTest>

using Set = MGAclPermissionSet;

namespace {
// A session whose list holds the entry (and any others), as a window's does.
std::unique_ptr<MGAclEditSession> sessionWith(const MGAclEntry::Pointer &entry, const MGAclList &others = {})
{
    auto session = std::make_unique<MGAclEditSession>();
    MGAclList list{QStringLiteral("Access Control List")};
    list << others << entry;
    session->installRead(list, {});
    return session;
}
}

// The permission editor on its own, for entries of both kinds.
class tst_MGAclPermissionViewController : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { MGAclValueTransformers::loadTransformers(); }

    void aFullEntryHasSectionsThatAreMixedWhileTheirPermissionsDiffer()
    {
        // An entry of a store with the full set of permissions (not POSIX).
        auto entry = MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(1), MGAclPermission::ReadData, 0, false, false);
        const auto session = sessionWith(entry);
        MGAclPermissionViewController editor(session.get(), entry);
        editor.view()->show();
        QVERIFY(!editor.view()->findChild<QLabel *>("posixNote")->isVisible());
        QAbstractItemModelTester tester(editor.permissionModel());
        QVERIFY(editor.itemFor("Read") && editor.itemFor("Read Data") && editor.itemFor("Take Ownership"));
        QCOMPARE(editor.stateFor("Read"), -1); // some of Read, not all
        QCOMPARE(editor.stateFor("Read Data"), 1);
        // A mixed section goes to on with one click on its check box: every permission of it
        // is granted; the next click clears them all.
        QTreeView *tree = editor.outlineView();
        auto clickBox = [&](const QString &key) {
            const QRect row = tree->visualRect(editor.itemFor(key)->index());
            QStyleOptionViewItem option;
            option.initFrom(tree);
            option.rect = row;
            option.features = QStyleOptionViewItem::HasCheckIndicator;
            const QRect box = tree->style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, tree);
            QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, box.center());
        };
        clickBox("Read");
        QCOMPARE(editor.stateFor("Read"), 1);
        QCOMPARE(entry->permissionState(MGAclPermission::ReadAttributes | MGAclPermission::ReadAcl), 1);
        QCOMPARE(editor.stateFor("Read Permissions"), 1);
        clickBox("Read");
        QCOMPARE(entry->permissions() & Set::readBundle(), 0u);
        QCOMPARE(editor.stateFor("Read Data"), 0);
    }

    void aClearRowShowsItsBoxAndTicksWithSpace()
    {
        // A permission the entry lacks from the start is a row with an empty box, which Space
        // ticks as a click would.
        auto entry = MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(1), Set::fromPosixBits(4, false), 0,
                                          false, true);
        const auto session = sessionWith(entry);
        MGAclPermissionViewController editor(session.get(), entry);
        editor.view()->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.view()));
        QStandardItem *write = editor.itemFor("Write");
        QVERIFY(write);
        QCOMPARE(write->data(Qt::CheckStateRole), QVariant(int(Qt::Unchecked)));
        QTreeView *tree = editor.outlineView();
        tree->setFocus();
        tree->setCurrentIndex(write->index());
        QTest::keyClick(tree, Qt::Key_Space);
        QCOMPARE(editor.stateFor("Write"), 1);
        QCOMPARE(entry->permissions(), Set::fromPosixBits(6, false));
    }

    void theIdentityPopUpChangesWhoTheEntryIsFor()
    {
        auto entry = MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(1, "daemon"), Set::fromPosixBits(4, false), 0,
                                          false, true);
        // nobody has an entry for the item already.
        const MGAclList others{MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(65534), Set::fromPosixBits(4, false), 0,
                                                    false, true)};
        const auto session = sessionWith(entry, others);
        MGAclPermissionViewController editor(session.get(), entry);
        editor.view()->show();
        MGIdentityPopUpButton *who = editor.identityPopUpButton();
        QVERIFY(who->isEnabled());
        QCOMPARE(who->identity(), CBIdentity::user(1));
        // nobody has an entry already, so is not offered.
        for (int row = 0; row < who->count(); ++row)
            QVERIFY(who->itemData(row).value<CBIdentity>() != CBIdentity::user(65534));
        const int root = who->findText("root");
        QVERIFY(root >= 0);
        emit who->identityChosen(who->itemData(root).value<CBIdentity>());
        QCOMPARE(entry->identity(), CBIdentity::user(0));
    }

    void ownerGroupAndOtherKeepWhoTheyAre()
    {
        auto owner = MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, CBIdentity::user(0, "root"), 6, false);
        const auto session = sessionWith(owner);
        MGAclPermissionViewController editor(session.get(), owner);
        editor.view()->show();
        QVERIFY(!editor.identityPopUpButton()->isEnabled());
        QCOMPARE(editor.identityPopUpButton()->currentText(), QStringLiteral("Owner: root"));
        QCOMPARE(editor.stateFor("Write"), 1);
        QCOMPARE(editor.stateFor("Execute"), 0);
        QVERIFY(!editor.appliesToPopUpButton()->isVisible());
    }
};

QTEST_MAIN(tst_MGAclPermissionViewController)
#include "tst_MGAclPermissionViewController.moc"
