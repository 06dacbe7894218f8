#include "MGTreeNode.h"

#include <QCborArray>
#include <QCborMap>
#include <QtTest>

class tst_MGTreeNode : public QObject
{
    Q_OBJECT

    static MGTreeNode::Pointer sample()
    {
        auto root = MGTreeNode::treeNodeWithRepresentedObject("Read", -1);
        root->addChild(MGTreeNode::treeNodeWithRepresentedObject("List Folder", 1));
        root->addChild(MGTreeNode::treeNodeWithRepresentedObject("Read Attributes", 0));
        return root;
    }

private slots:
    void roundTripKeepsTheTree()
    {
        const QList<MGTreeNode::Pointer> forest = {sample(), MGTreeNode::treeNodeWithRepresentedObject("Write", 0)};
        QString problem;
        const auto decoded = MGTreeNode::forestFromCbor(
            QCborValue::fromCbor(MGTreeNode::forestToCbor(forest).toCbor()), &problem);
        QVERIFY2(decoded, qPrintable(problem));
        QVERIFY(MGTreeNode::forestsEqual(forest, *decoded));
        QCOMPARE(decoded->at(0)->childNodes().at(1)->parentNode(), decoded->at(0).get());
        QCOMPARE(decoded->at(0)->childNodes().at(0)->representedObject().value("state").toInt(), 1);
        decoded->at(0)->childNodes().at(0)->setState(0);
        QVERIFY(!MGTreeNode::forestsEqual(forest, *decoded));
    }

    void hostileTreesAreRefused()
    {
        auto refused = [](const QCborValue &value) {
            QString problem;
            return !MGTreeNode::forestFromCbor(value, &problem) && !problem.isEmpty();
        };
        QVERIFY(refused(QCborMap{}));
        QVERIFY(refused(QCborArray{QCborMap{{"title", "a"}, {"state", 2}}}));
        QVERIFY(refused(QCborArray{QCborMap{{"title", 1}, {"state", 0}}}));
        QVERIFY(refused(QCborArray{QCborMap{{"title", "a"}, {"state", 0}, {"extra", 0}}}));
        QVERIFY(refused(QCborArray{QCborMap{{"title", "a"}, {"state", 0}, {"children", 3}}}));
        // Too deep: a chain longer than the limit.
        QCborValue chain = QCborMap{{"title", "leaf"}, {"state", 0}};
        for (int i = 0; i < MGTreeNode::MaximumDepth + 1; ++i)
            chain = QCborMap{{"title", "n"}, {"state", 0}, {"children", QCborArray{chain}}};
        QVERIFY(refused(QCborArray{chain}));
        // Too many nodes in all, even when spread over many small trees.
        QCborArray wide;
        const QCborMap node{{"title", "n"}, {"state", 0}, {"children", QCborArray{QCborMap{{"title", "c"}, {"state", 1}}}}};
        for (int i = 0; i < MGTreeNode::MaximumNodes / 2 + 1; ++i)
            wide.append(node);
        QVERIFY(refused(wide));
    }
};

QTEST_GUILESS_MAIN(tst_MGTreeNode)
#include "tst_MGTreeNode.moc"
