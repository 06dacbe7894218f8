#include "MGAclTableRowView.h"

#include <QLabel>
#include <QtTest>

class tst_MGAclTableRowView : public QObject
{
    Q_OBJECT
private slots:
    void titleIsBoldAndInsetFromBothEdges()
    {
        MGAclTableRowView row;
        row.textField()->setText("Access Control List");
        row.resize(400, 40);
        row.show();
        QVERIFY(QTest::qWaitForWindowExposed(&row));
        const QRect label = row.textField()->geometry();
        QVERIFY(row.textField()->font().bold());
        QCOMPARE(label.left(), 30);
        QCOMPARE(row.width() - (label.right() + 1), 3);
        QCOMPARE(label.center().y(), row.rect().center().y());
        // Growing the row keeps the insets.
        row.resize(250, 60);
        QCOMPARE(row.textField()->geometry().left(), 30);
        QCOMPARE(row.width() - (row.textField()->geometry().right() + 1), 3);
        QCOMPARE(row.textField()->geometry().center().y(), row.rect().center().y());
    }

    void leadingEdgeFollowsReadingDirection()
    {
        MGAclTableRowView row;
        row.textField()->setText("title");
        row.resize(300, 30);
        row.setLayoutDirection(Qt::RightToLeft);
        const QRect label = row.textField()->geometry();
        QCOMPARE(row.width() - (label.right() + 1), 30);
        QCOMPARE(label.left(), 3);
    }
};

QTEST_MAIN(tst_MGAclTableRowView)
#include "tst_MGAclTableRowView.moc"
