#include "MGWorkQueue.h"

#include <QApplication>
#include <QProcess>
#include <QTest>
#include <QWidget>
#include <memory>

// The main queue: tasks run in the order they were queued, and a task still waiting when the
// application ends is dropped without hanging it, even when it holds the last reference to
// something with widgets.
class tst_MGWorkQueue : public QObject
{
    Q_OBJECT

private slots:
    void tasksRunInOrder()
    {
        QList<int> ran;
        MGWorkQueue queue(QStringLiteral("test"));
        for (int i = 0; i < 100; ++i)
            queue.async([&ran, i] { MGMainQueue::async([&ran, i] { ran << i; }); });
        QTRY_COMPARE(ran.size(), 100);
        for (int i = 0; i < 100; ++i)
            QCOMPARE(ran[i], i);
    }

    void anApplicationEndsWithAWindowStillQueued()
    {
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {"--end-with-a-window-queued"});
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), 0);
    }
};

int main(int argc, char **argv)
{
    if (argc > 1 && qstrcmp(argv[1], "--end-with-a-window-queued") == 0) {
        QApplication app(argc, argv);
        auto window = std::make_shared<QWidget>();
        window->show();
        MGMainQueue::async([window] { window->hide(); });
        window.reset(); // the queued task holds the last reference
        return 0;
    }
    QApplication app(argc, argv);
    tst_MGWorkQueue test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_MGWorkQueue.moc"
