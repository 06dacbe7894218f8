#include "MGAclPermissionButton.h"

#include <QtTest>

class tst_MGAclPermissionButton : public QObject
{
    Q_OBJECT

    static void click(MGAclPermissionButton &b) { QTest::mouseClick(&b, Qt::LeftButton); }
    static void space(MGAclPermissionButton &b) { QTest::keyClick(&b, Qt::Key_Space); }

private slots:
    void userNeverReachesMixed_data()
    {
        QTest::addColumn<bool>("byKey");
        QTest::newRow("mouse") << false;
        QTest::newRow("space") << true;
    }
    void userNeverReachesMixed()
    {
        QFETCH(bool, byKey);
        MGAclPermissionButton button("Read");
        button.show();
        QVERIFY(QTest::qWaitForWindowExposed(&button));
        button.setFocus();
        auto press = [&] { byKey ? space(button) : click(button); };
        button.setState(-1);
        QCOMPARE(button.state(), -1);
        QSignalSpy clicked(&button, &QAbstractButton::clicked);
        press();
        QCOMPARE(button.state(), 1); // mixed → on
        press();
        QCOMPARE(button.state(), 0); // on → off
        press();
        QCOMPARE(button.state(), 1); // off → on, never mixed
        QVERIFY(button.isTristate()); // the program can still show mixed
        QCOMPARE(clicked.count(), 3);
        button.setState(-1);
        QCOMPARE(button.checkState(), Qt::PartiallyChecked);
    }

    void twoStateButtonIsAPlainCheckBox()
    {
        MGAclPermissionButton button;
        button.show();
        QVERIFY(QTest::qWaitForWindowExposed(&button));
        QVERIFY(!button.isTristate());
        click(button);
        QCOMPARE(button.state(), 1);
        click(button);
        QCOMPARE(button.state(), 0);
    }

    void otherKeysPassThrough()
    {
        MGAclPermissionButton button;
        button.setState(0);
        button.show();
        button.setFocus();
        QTest::keyClick(&button, Qt::Key_A);
        QCOMPARE(button.state(), 0);
    }
};

QTEST_MAIN(tst_MGAclPermissionButton)
#include "tst_MGAclPermissionButton.moc"
