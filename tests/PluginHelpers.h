#pragma once

#include "MGAclEntriesViewController.h"
#include "MGAclPlugin.h"
#include "MGTabViewController.h"
#include "QueueHelpers.h"
#include "MGWindowController.h"
#include "ShellHelpers.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>

// Opens the plug-in's window for `path`, as the host does, and waits for the entries.
inline MGAclPlugin::Pointer openWindow(const QString &path)
{
    MGAclPlugin::Pointer plugin = MGAclPlugin::plugin();
    QSignalSpy loaded(plugin.get(), &MGAclPlugin::entriesChanged);
    plugin->processItems({MGHostItem::fromPath(path)});
    if (!loaded.wait(10000))
        qWarning() << "the entries of" << path << "never arrived";
    return plugin;
}

// The window's first tab: the entries.
inline MGAclEntriesViewController *entriesView(const MGAclPlugin::Pointer &plugin)
{
    return static_cast<MGAclEntriesViewController *>(plugin->tabViewController()->childViewControllers().at(0));
}

// Presses `key` on a cell of the entries table, as a user does, and answers the editor it
// opened (nothing when none opened within two seconds).
inline QWidget *keyOnCell(MGAclEntriesViewController *view, int row, int column, Qt::Key key)
{
    QTableView *table = view->tableView();
    table->setFocus();
    table->setCurrentIndex(table->model()->index(row, column));
    QTest::keyClick(table, key);
    QWidget *editor = nullptr;
    (void)QTest::qWaitFor([&] { return (editor = view->cellEditor(row, column)) != nullptr; }, 2000);
    return editor;
}

// Three ACL entries for users 1, 2 and 3 at rows 1 to 3 (user 2's inherited) before the
// POSIX section, as a folder's list holds them.
inline void installSampleEntries(const MGAclPlugin::Pointer &plugin)
{
    MGAclList list = plugin->entries();
    for (quint32 id : {3u, 2u, 1u})
        list.insert(1, MGAclEntry::aclEntry(1, CBIdentity::user(id), MGAclPermissionSet::fromPosixBits(5, true),
                                            id == 2 ? quint32(MGAclFlag::Inherited) : 0u, true, true));
    plugin->setEntries(list);
}

// Waits until everything the plug-in object had posted to its work queue has reached the
// service and been answered: the ordinary service answers one request at a time, in order,
// so a read made after them comes back after them.
inline bool syncWithService(const MGAclPlugin::Pointer &plugin)
{
    if (!flushQueue(*plugin->queue()))
        return false;
    auto answered = std::make_shared<std::atomic<bool>>(false);
    plugin->queue()->async([plugin, answered] {
        plugin->connection()->remoteObjectProxyWithErrorHandler([answered](const MGError &) { *answered = true; })
            ->getAclEntriesWithUrl(plugin->url(), [answered](auto, MGResultError) { *answered = true; });
    });
    return QTest::qWaitFor([&] { return answered->load(); }, 10000);
}

// The alert or error message shown on a window, once it is there.
inline QMessageBox *waitForAlert()
{
    QMessageBox *box = nullptr;
    (void)QTest::qWaitFor([&] { return (box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) != nullptr; },
                    10000);
    return box;
}

// Answers an alert with its first (1000) or second (1001) button.
inline void answer(QMessageBox *box, int response)
{
    auto *button = box->findChild<QAbstractButton *>(QStringLiteral("MGAlertButton%1").arg(response));
    QVERIFY(button);
    button->click();
}

inline QStringList buttonTexts(QMessageBox *box)
{
    QStringList texts;
    for (int i = 1000; i < 1010; ++i) {
        if (auto *button = box->findChild<QAbstractButton *>(QStringLiteral("MGAlertButton%1").arg(i)))
            texts << button->text();
    }
    return texts;
}

// The first entry of a list that is an ACL entry for `name`, or the POSIX entry of `kind`.
inline MGAclEntry *findEntry(const MGAclList &list, const std::function<bool(const MGAclEntry &)> &match)
{
    for (const MGAclItem &item : list) {
        if (MGAclEntry *entry = MGAclLists::entryOf(item); entry && match(*entry))
            return entry;
    }
    return nullptr;
}

inline MGAclEntry *otherEntry(const MGAclList &list)
{
    return findEntry(list, [](const MGAclEntry &e) { return e.kind() == MGAclEntry::Kind::Other; });
}

inline void useTestSettings()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("MarrowgateTests"));
    QSettings().clear();
}

// The last answer of an operation, whatever thread it came on.
struct OperationResult
{
    QMutex lock;
    int answers = 0;
    bool hasValue = false;
    MGResultError error;
    int kind = -1;
    bool fromPrivilegedReply = false;
    int count()
    {
        QMutexLocker locker(&lock);
        return answers;
    }
    void set(bool value, MGResultError e, int k = -1, bool privileged = false)
    {
        QMutexLocker locker(&lock);
        ++answers;
        hasValue = value;
        error = e;
        kind = k;
        fromPrivilegedReply = privileged;
    }
};

// A list holding only the item's POSIX section as it is, with nothing for others: writing
// it is a real change to an item that others may read.
inline MGAclList posixListFor(const QString &path)
{
    const QStringList parts = sh("stat -c '%u %g %a' " + quoted(path)).trimmed().split(' ');
    const int mode = parts.value(2).toInt(nullptr, 8);
    const bool dir = QFileInfo(path).isDir();
    return {QStringLiteral("t"),
            MGAclEntry::posixEntry(MGAclEntry::Kind::Owner, CBIdentity::user(parts.value(0).toUInt()), mode >> 6 & 7, dir),
            MGAclEntry::posixEntry(MGAclEntry::Kind::OwningGroup, CBIdentity::group(parts.value(1).toUInt()), mode >> 3 & 7, dir),
            MGAclEntry::posixEntry(MGAclEntry::Kind::Other, CBIdentity::special(CBIdentity::Class::EveryoneSpecial), 0, dir)};
}
