// One window host per user and display: later starts hand their item over, and the
// windows of one host cascade.
#include "MGAclHost.h"
#include <QTimer>
#include <QMessageBox>
#include "MGAclHostInstance.h"
#include "MGWindow.h"
#include "PluginHelpers.h"

#include <QLocalSocket>
#include <QMenuBar>
#include <QtEndian>
#include <future>
#include <thread>

class tst_MGAclHostInstance : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    // Hands a path over from another thread, as a second program would, while this one
    // serves; answers whether it was taken.
    static bool handOverFromElsewhere(const QString &name, const QByteArray &path)
    {
        std::future<bool> taken = std::async(std::launch::async, [=] { return MGAclHostInstance::handOver(name, path); });
        while (taken.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        return taken.get();
    }

    static QList<MGWindow *> windows()
    {
        QList<MGWindow *> found;
        for (QWidget *top : QApplication::topLevelWidgets()) {
            if (auto *window = qobject_cast<MGWindow *>(top); window && window->isVisible())
                found << window;
        }
        return found;
    }

private slots:
    void initTestCase() { useTestSettings(); }

    void pathsArriveAsBytes()
    {
        const QString name = tmp.path("instance");
        MGAclHostInstance instance;
        QByteArrayList opened;
        QVERIFY(instance.listen(name, [&](const QByteArray &path) { opened << path; }));
        // Socket only its user may use.
        QVERIFY(sh("stat -c %a " + quoted(name)).trimmed().startsWith("7"));
        const QByteArray odd("/tmp/caf\xe9 \n name");
        QVERIFY(handOverFromElsewhere(name, odd));
        QVERIFY(handOverFromElsewhere(name, "/"));
        QCOMPARE(opened, (QByteArrayList{odd, "/"}));
        // Nobody listening: not taken, at once.
        QVERIFY(!MGAclHostInstance::handOver(tmp.path("nobody-here"), "/", 1000));
        QVERIFY(!MGAclHostInstance::handOver(QString(), "/", 1000));
    }

    void aRequestTooLargeIsDropped()
    {
        const QString name = tmp.path("instance-large");
        MGAclHostInstance instance;
        int opened = 0;
        QVERIFY(instance.listen(name, [&](const QByteArray &) { ++opened; }));
        QLocalSocket socket;
        socket.connectToServer(name);
        QVERIFY(socket.waitForConnected(2000));
        const quint32 size = qToBigEndian(quint32(1) << 30);
        socket.write(reinterpret_cast<const char *>(&size), sizeof size);
        socket.flush();
        QTRY_COMPARE(socket.state(), QLocalSocket::UnconnectedState);
        QCOMPARE(opened, 0);
        QVERIFY(!MGAclHostInstance::handOver(name, QByteArray(70000, 'a'), 1000));
    }

    void aStaleSocketIsTakenOver()
    {
        const QString name = tmp.path("instance-stale");
        {
            MGAclHostInstance crashed;
            QVERIFY(crashed.listen(name, [](const QByteArray &) {}));
        }
        QVERIFY(shOk("python3 -c \"import socket; s=socket.socket(socket.AF_UNIX); s.bind('" + name + "')\""));
        MGAclHostInstance instance;
        int opened = 0;
        QVERIFY(instance.listen(name, [&](const QByteArray &) { ++opened; }));
        QVERIFY(handOverFromElsewhere(name, "/"));
        QCOMPARE(opened, 1);
    }

    void noInstanceWithoutARealDisplay()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QVERIFY(MGAclHostInstance::nameForEnvironment().isEmpty());
        qputenv("QT_QPA_PLATFORM", "xcb");
        qputenv("DISPLAY", ":7");
        const QString seven = MGAclHostInstance::nameForEnvironment();
        qputenv("DISPLAY", ":8");
        QVERIFY(!seven.isEmpty() && seven != MGAclHostInstance::nameForEnvironment());
        qunsetenv("DISPLAY");
        qunsetenv("WAYLAND_DISPLAY");
        QVERIFY(MGAclHostInstance::nameForEnvironment().isEmpty());
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }

    // Two windows of one host for the same folder: the second one steps aside.
    void windowsOfOneHostCascade()
    {
        MGAclHost host;
        QString error;
        QVERIFY2(host.loadModule(&error), qPrintable(error));
        host.open({QFile::encodeName(tmp.path())});
        QTRY_COMPARE(windows().size(), 1);
        host.open({QFile::encodeName(tmp.path())});
        QTRY_COMPARE(windows().size(), 2);
        const QList<MGWindow *> shown = windows();
        QCOMPARE(qAbs(shown[0]->pos().x() - shown[1]->pos().x()), 22);
        QCOMPARE(qAbs(shown[0]->pos().y() - shown[1]->pos().y()), 22);
        // Each has the host's menu bar.
        QVERIFY(shown[0]->findChild<QMenuBar *>() && shown[1]->findChild<QMenuBar *>());
        for (MGWindow *window : shown)
            window->closeWithoutAsking();
        QTRY_VERIFY(windows().isEmpty());
    }

    // A path that cannot be opened, as a desktop launcher passes it: the reason in a window,
    // and the host ends with status 1 once it is closed.
    void aPathThatCannotBeOpenedIsSaidInAWindow()
    {
        MGAclHost host;
        const QByteArray missing = QFile::encodeName(tmp.path("not-there"));
        QString text, informative;
        QTimer::singleShot(0, [&] {
            QMessageBox *box = nullptr;
            QVERIFY(QTest::qWaitFor([&] {
                for (QWidget *top : QApplication::topLevelWidgets())
                    if (top->objectName() == "openError" && top->isVisible())
                        box = qobject_cast<QMessageBox *>(top);
                return box != nullptr;
            }));
            text = box->text();
            informative = box->informativeText();
            QTest::keyClick(box, Qt::Key_Return);
        });
        QCOMPARE(host.run({missing}), 1);
        QCOMPARE(text, QStringLiteral("Cannot open \u201c%1\u201d").arg(QFile::decodeName(missing)));
        QVERIFY2(informative.contains("No such file or directory"), qPrintable(informative));
        QVERIFY(windows().isEmpty());
    }
};

QTEST_MAIN(tst_MGAclHostInstance)
#include "tst_MGAclHostInstance.moc"
