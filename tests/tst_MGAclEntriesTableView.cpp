// Dragging rows of the entries table: the drop rules, the moves they make, removal by
// dragging out, and real drags through the platform's drag loop (the minimal platform,
// where drags run; offscreen ends every drag at once).
#include "MGAclEntriesTableModel.h"
#include "MGAclEntriesTableView.h"
#include "MGAclEntriesViewController.h"
#include "PluginHelpers.h"

#include <QCborValue>
#include <QDrag>
#include <QMimeData>
#include <QTimer>
#include <QToolButton>

using Set = MGAclPermissionSet;
using Operation = MGAclEntriesTableView::DropOperation;

class tst_MGAclEntriesTableView : public QObject
{
    Q_OBJECT

    SharedTemporaryDir tmp;

    static QList<quint32> aclUsers(const MGAclPlugin::Pointer &plugin)
    {
        QList<quint32> users;
        for (const MGAclEntry::Pointer &entry : MGAclLists::aclEntries(plugin->entries()))
            users << entry->identity().posixID();
        return users;
    }

    static MGAclPlugin::Pointer sampleWindow(const QString &path)
    {
        MGAclPlugin::Pointer plugin = openWindow(path);
        plugin->window()->resize(960, 480); // every column in view
        installSampleEntries(plugin);
        return plugin;
    }

    static std::unique_ptr<QMimeData> urlOnly()
    {
        auto data = std::make_unique<QMimeData>();
        data->setUrls({QUrl::fromLocalFile("/etc/hostname")});
        return data;
    }

    static QPoint centreOfRow(QTableView *table, int row)
    {
        return table->visualRect(table->model()->index(row, MGAclEntriesTableModel::InheritedColumn)).center();
    }

private slots:
    void initTestCase() { useTestSettings(); }

    void dropsLandOnlyInTheAclSection()
    {
        MGAclPlugin::Pointer plugin = sampleWindow(tmp.path());
        MGAclEntriesViewController *view = entriesView(plugin);
        std::unique_ptr<QMimeData> data(view->writeRows({1}));
        QVERIFY(data);
        QCOMPARE(QCborValue::fromCbor(data->data("com.quillwork.Marrowgate.pasteboard.acl")).toInteger(), 1);
        QCOMPARE(data->formats(), QStringList{"com.quillwork.Marrowgate.pasteboard.acl"});
        // n = 3: drops above rows 1 to 4 move; above the title or into the POSIX part, none.
        for (int proposed = 0; proposed < plugin->entries().size() + 2; ++proposed) {
            int row = proposed;
            Operation operation = MGAclEntriesTableView::DropAbove;
            const bool accepted = view->validateDrop(data.get(), row, operation) == Qt::MoveAction;
            QCOMPARE(accepted, proposed >= 1 && proposed <= 4);
            QCOMPARE(row, proposed);
        }
        // A drop on a row becomes a drop above it.
        int row = 2;
        Operation operation = MGAclEntriesTableView::DropOn;
        QCOMPARE(view->validateDrop(data.get(), row, operation), Qt::MoveAction);
        QCOMPARE(row, 2);
        QCOMPARE(operation, MGAclEntriesTableView::DropAbove);
        // What is dragged does not matter: a link to a file from elsewhere validates too.
        row = 3;
        QCOMPARE(view->validateDrop(urlOnly().get(), row, operation), Qt::MoveAction);
        plugin->window()->closeWithoutAsking();
    }

    void onlyAclEntriesCanBeDragged()
    {
        MGAclPlugin::Pointer plugin = sampleWindow(tmp.path());
        MGAclEntriesViewController *view = entriesView(plugin);
        QVERIFY(!view->writeRows({0})); // the ACL title
        QVERIFY(!view->writeRows({4})); // the POSIX title
        QVERIFY(!view->writeRows({5})); // the owner's POSIX entry
        std::unique_ptr<QMimeData> inherited(view->writeRows({2}));
        QVERIFY(inherited); // inherited entries move like the others
        // A multiple selection drags its first row alone.
        std::unique_ptr<QMimeData> first(view->writeRows({3, 1}));
        QCOMPARE(QCborValue::fromCbor(first->data("com.quillwork.Marrowgate.pasteboard.acl")).toInteger(), 3);
        plugin->window()->closeWithoutAsking();
    }

    void dropsMoveByTheDropAboveRule_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QList<quint32>>("users");
        QTest::newRow("first to the end") << 1 << 4 << QList<quint32>{2, 3, 1};
        QTest::newRow("last to the top") << 3 << 1 << QList<quint32>{3, 1, 2};
        QTest::newRow("above itself") << 2 << 2 << QList<quint32>{1, 2, 3};
        QTest::newRow("below itself") << 2 << 3 << QList<quint32>{1, 2, 3};
    }
    void dropsMoveByTheDropAboveRule()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QList<quint32>, users);
        MGAclPlugin::Pointer plugin = sampleWindow(tmp.path());
        MGAclEntriesViewController *view = entriesView(plugin);
        view->selectRow(from);
        const MGAclEntry::Pointer moved = view->selectedEntry();
        std::unique_ptr<QMimeData> data(view->writeRows({from}));
        QVERIFY(view->acceptDrop(data.get(), to, MGAclEntriesTableView::DropAbove));
        QVERIFY(flushQueue(*plugin->queue()));
        QTRY_COMPARE(aclUsers(plugin), users);
        // The moved entry stays selected wherever it went.
        QCOMPARE(view->selectedEntry()->identity(), moved->identity());
        plugin->window()->closeWithoutAsking();
    }

    // A link dragged in names no row: it reads as row 0, and is kept as a move of that row.
    void aDropWithoutARowMovesRowZero()
    {
        MGAclPlugin::Pointer plugin = sampleWindow(tmp.path());
        MGAclEntriesViewController *view = entriesView(plugin);
        const MGAclList before = plugin->entries();
        QVERIFY(view->acceptDrop(urlOnly().get(), 1, MGAclEntriesTableView::DropAbove));
        QVERIFY(flushQueue(*plugin->queue()));
        QVERIFY(flushMainQueue());
        QVERIFY(MGAclLists::isEqualToList(plugin->entries(), before));
        plugin->window()->closeWithoutAsking();
    }

    // A row dragged from another window's table is that window's row number, applied to
    // this window's list as it stands.
    void aDropFromAnotherWindowUsesItsRowHere()
    {
        MGAclPlugin::Pointer here = sampleWindow(tmp.path());
        const QString other = tmp.path("other");
        QVERIFY(shOk("mkdir -p " + quoted(other)));
        MGAclPlugin::Pointer there = openWindow(other);
        MGAclList list = there->entries();
        list.insert(1, MGAclEntry::aclEntry(1, CBIdentity::user(9), Set::fromPosixBits(4, true), 0, true, true));
        there->setEntries(list);
        std::unique_ptr<QMimeData> data(entriesView(there)->writeRows({1}));
        QVERIFY(entriesView(here)->acceptDrop(data.get(), 4, MGAclEntriesTableView::DropAbove));
        QVERIFY(flushQueue(*here->queue()));
        QTRY_COMPARE(aclUsers(here), (QList<quint32>{2, 3, 1}));
        QCOMPARE(aclUsers(there), QList<quint32>{9});
        there->window()->closeWithoutAsking();
        here->window()->closeWithoutAsking();
    }

    void draggingOutRemovesWithAModifierKey()
    {
        MGAclPlugin::Pointer plugin = sampleWindow(tmp.path());
        MGAclEntriesViewController *view = entriesView(plugin);
        QTableView *table = view->tableView();
        const QPoint outside = table->mapToGlobal(QPoint(table->width() + 40, table->height() / 2));
        const QPoint overButtons = view->addButton()->mapToGlobal(view->addButton()->rect().center());
        const QPoint overTable = table->mapToGlobal(table->rect().center());
        const quint64 plain = MGAclEntriesTableView::flagWord(Qt::NoModifier);
        const quint64 shift = MGAclEntriesTableView::flagWord(Qt::ShiftModifier);
        QCOMPARE(plain, 256u);
        QVERIFY(shift != 256u && MGAclEntriesTableView::flagWord(Qt::AltModifier) != 256u);
        auto endDrag = [&](int row, const QPoint &point, Qt::DropAction operation, quint64 flags) {
            std::unique_ptr<QMimeData> data(view->writeRows({row}));
            view->draggingSessionEnded(data.get(), point, operation, flags);
            QVERIFY(flushQueue(*plugin->queue()));
            QVERIFY(flushMainQueue());
        };
        const QList<quint32> all{1, 2, 3};
        // Nothing happens: a plain let-go, a let-go over the table, a drop someone took,
        // an inherited entry.
        endDrag(1, outside, Qt::IgnoreAction, plain);
        QCOMPARE(aclUsers(plugin), all);
        endDrag(1, overTable, Qt::IgnoreAction, shift);
        QCOMPARE(aclUsers(plugin), all);
        endDrag(1, outside, Qt::MoveAction, shift);
        QCOMPARE(aclUsers(plugin), all);
        endDrag(2, outside, Qt::IgnoreAction, shift);
        QCOMPARE(aclUsers(plugin), all);
        // Let go over the window's own buttons with Shift held: gone, in a puff.
        endDrag(3, overButtons, Qt::IgnoreAction, shift);
        QTRY_COMPARE(aclUsers(plugin), (QList<quint32>{1, 2}));
        const auto puffShown = [] {
            const QWidgetList tops = QApplication::topLevelWidgets();
            return std::any_of(tops.cbegin(), tops.cend(), [](QWidget *w) {
                return w->objectName() == QLatin1String("MGAnimationEffectPoof") && w->isVisible();
            });
        };
        QVERIFY(puffShown());
        // The puff goes by itself.
        QTRY_VERIFY_WITH_TIMEOUT(!puffShown(), 5000);
        plugin->window()->closeWithoutAsking();
    }

    // Through the platform's drag loop, with the mouse: press on a row, move, let go.
    void aRealDragReordersAndARealDragOutRemoves()
    {
        MGAclPlugin::Pointer plugin = sampleWindow(tmp.path());
        MGAclEntriesViewController *view = entriesView(plugin);
        QTableView *table = view->tableView();
        QWindow *window = plugin->window()->windowHandle();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        const auto inWindow = [&](const QPoint &viewportPoint) {
            return plugin->window()->mapFromGlobal(table->viewport()->mapToGlobal(viewportPoint));
        };
        // Row 1 to the gap below row 3 (drop row 4).
        const QPoint start = centreOfRow(table, 1);
        const QPoint target = table->visualRect(table->model()->index(3, 0)).bottomLeft() + QPoint(20, -1);
        bool sawGap = false;
        QTimer::singleShot(50, [&] {
            QTest::mouseMove(window, inWindow(target - QPoint(0, 5)));
            QTest::mouseMove(window, inWindow(target));
            sawGap = static_cast<MGAclEntriesTableView *>(table)->dropRow() == 4;
            QTest::mouseRelease(window, Qt::LeftButton, {}, inWindow(target));
        });
        QTest::mousePress(window, Qt::LeftButton, {}, inWindow(start));
        QTest::mouseMove(window, inWindow(start + QPoint(0, 3)));
        QTest::mouseMove(window, inWindow(start + QPoint(0, 30)));
        QTRY_COMPARE(aclUsers(plugin), (QList<quint32>{2, 3, 1}));
        QVERIFY(sawGap);
        // Row 2 (user 3) let go beside the window with Shift held: removed.
        const QPoint away(plugin->window()->width() + 80, 20); // beside the window
        QTimer::singleShot(50, [&] {
            QTest::mouseMove(window, away);
            QTest::mouseRelease(window, Qt::LeftButton, Qt::ShiftModifier, away);
        });
        const QPoint second = centreOfRow(table, 2);
        QTest::mousePress(window, Qt::LeftButton, {}, inWindow(second));
        QTest::mouseMove(window, inWindow(second + QPoint(0, 3)));
        QTest::mouseMove(window, inWindow(second + QPoint(0, 30)));
        QTRY_COMPARE(aclUsers(plugin), (QList<quint32>{2, 1}));
        plugin->window()->closeWithoutAsking();
    }
};

int main(int argc, char **argv)
{
    // Drags run on the minimal platform; offscreen ends them at once.
    qputenv("QT_QPA_PLATFORM", "minimal");
    QApplication app(argc, argv);
    tst_MGAclEntriesTableView suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_MGAclEntriesTableView.moc"
