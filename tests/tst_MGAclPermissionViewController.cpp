#include "MGAclPermissionViewController.h"
#include "MGValueTransformer.h"
#include "MGAclValueTransformers.h"

#include <QLabel>
#include <QSignalSpy>
#include <QtTest>

using Set = MGAclPermissionSet;

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
        MGAclPermissionViewController editor(entry);
        editor.view()->show();
        QVERIFY(!editor.view()->findChild<QLabel *>("posixNote")->isVisible());
        MGAclPermissionButton *read = editor.buttonFor("Read");
        MGAclPermissionButton *readData = editor.buttonFor("Read Data");
        QVERIFY(read && readData && editor.buttonFor("Take Ownership"));
        QCOMPARE(read->state(), -1); // some of Read, not all
        QCOMPARE(readData->state(), 1);
        // A mixed section goes to on with one click: every permission of it is granted.
        QTest::mouseClick(read, Qt::LeftButton, {}, QPoint(8, read->height() / 2));
        QCOMPARE(read->state(), 1);
        QCOMPARE(entry->permissionState(MGAclPermission::ReadAttributes | MGAclPermission::ReadAcl), 1);
        QCOMPARE(editor.buttonFor("Read Permissions")->state(), 1);
        QTest::mouseClick(read, Qt::LeftButton, {}, QPoint(8, read->height() / 2));
        QCOMPARE(entry->permissions() & Set::readBundle(), 0u);
    }

    void theIdentityPopUpChangesWhoTheEntryIsFor()
    {
        auto entry = MGAclEntry::aclEntry(MGAclEntry::Allow, CBIdentity::user(1, "daemon"), Set::fromPosixBits(4, false), 0,
                                          false, true);
        MGAclPermissionViewController editor(entry);
        editor.setUnavailableIdentities({CBIdentity::user(65534)});
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
        MGAclPermissionViewController editor(owner);
        editor.view()->show();
        QVERIFY(!editor.identityPopUpButton()->isEnabled());
        QCOMPARE(editor.identityPopUpButton()->currentText(), QStringLiteral("Owner: root"));
        QCOMPARE(editor.buttonFor("Write")->state(), 1);
        QCOMPARE(editor.buttonFor("Execute")->state(), 0);
    }
};

QTEST_MAIN(tst_MGAclPermissionViewController)
#include "tst_MGAclPermissionViewController.moc"
