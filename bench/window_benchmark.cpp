// Times the ACL window from inside its process on one item (meant for a list of thousands of
// entries): opening (until the entries arrive, and until the table is painted), one
// permission tick as the permission editor makes it, and one change of an entry's user,
// each until the window has handled everything the change set off and painted again.
//   marrowgate-window-benchmark ITEM [REPETITIONS]
#include "MGAclEntriesTableModel.h"
#include "MGAclEntriesViewController.h"
#include "MGAclEntry.h"
#include "MGAclPermissionSet.h"
#include "MGAclPlugin.h"
#include "MGIdentityListModel.h"
#include "MGMenuPlugin.h"
#include "MGPosixRules.h"
#include "MGTabViewController.h"
#include "MGWindowController.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QStandardPaths>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <functional>

namespace {
// Runs the event loop until `done` answers true or `milliseconds` pass.
bool waitFor(const std::function<bool()> &done, int milliseconds)
{
    QEventLoop loop;
    QElapsedTimer clock;
    clock.start();
    QTimer look;
    look.setInterval(1);
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (done() || clock.elapsed() >= milliseconds)
            loop.quit();
    });
    look.start();
    if (!done())
        loop.exec();
    return done();
}

// Everything posted so far handled, and the window painted as it now is.
void handleAndPaint(QWidget *window)
{
    for (int pass = 0; pass < 3; ++pass) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
    }
    window->repaint();
}

double milliseconds(const QElapsedTimer &clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

void report(const char *what, QList<double> times)
{
    std::sort(times.begin(), times.end());
    std::printf("  %-44s median %8.2f ms, slowest %8.2f ms (%lld times)\n", what, times.at(times.size() / 2),
                times.last(), static_cast<long long>(times.size()));
}
}

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: marrowgate-window-benchmark ITEM [REPETITIONS]\n");
        return 64;
    }
    const int repetitions = argc == 3 ? std::max(1, atoi(argv[2])) : 21;
    // The window's remembered sizes and choices go to a scratch place, not the user's.
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("MarrowgateBenchmark"));

    QElapsedTimer clock;
    clock.start();
    MGAclPlugin::Pointer plugin = MGAclPlugin::plugin();
    bool arrived = false;
    QObject::connect(plugin.get(), &MGAclPlugin::entriesChanged, plugin.get(),
                     [&] { arrived = arrived || !plugin->entries().isEmpty(); });
    plugin->processItems({MGHostItem::fromPath(QByteArray(argv[1]))});
    if (!waitFor([&] { return arrived; }, 120000)) {
        std::fprintf(stderr, "the entries of %s never arrived\n", argv[1]);
        return 1;
    }
    const double read = milliseconds(clock);
    QWidget *window = plugin->window();
    handleAndPaint(window);
    const double painted = milliseconds(clock);

    auto *entries = static_cast<MGAclEntriesViewController *>(plugin->tabViewController()->childViewControllers().at(0));
    auto *model = qobject_cast<MGAclEntriesTableModel *>(entries->tableView()->model());
    // The entry in the middle of the list, as far from either end as an edit can be.
    int row = -1;
    int named = 0;
    for (int r = 0; r < model->rowCount(); ++r) {
        const MGAclEntry *entry = model->entryAt(r);
        if (entry && entry->isAcl())
            ++named;
    }
    for (int r = 0, seen = 0; r < model->rowCount() && row < 0; ++r) {
        const MGAclEntry *entry = model->entryAt(r);
        if (entry && entry->isAcl() && ++seen > named / 2)
            row = r;
    }
    std::printf("  %-44s %8.2f ms\n", "opening, until the entries arrive", read);
    std::printf("  %-44s %8.2f ms (%d named entries, %lld rows)\n", "opening, until the table is painted", painted, named,
                static_cast<long long>(model->rowCount()));
    if (row < 0) {
        std::fprintf(stderr, "the item has no named entries to edit\n");
        return 1;
    }
    entries->tableView()->scrollTo(model->index(row, 0));
    handleAndPaint(window);

    QList<double> ticks;
    for (int i = 0; i < repetitions; ++i) {
        MGAclEntry *entry = model->entryAt(row);
        const quint32 write = MGAclPermissionSet::fromPosixBits(2, false);
        const bool on = (entry->permissions() & write) != write;
        clock.restart();
        entry->setPermission(write, on);
        handleAndPaint(window);
        ticks << milliseconds(clock);
    }
    report("one permission tick", ticks);

    // Users with accounts that no entry names yet, to move the entry between.
    QList<CBIdentity> free;
    const MGPosixRules::IdentityUse &use = model->identityUse();
    for (const QVariant &item : MGIdentityListModel::sharedModel()->items()) {
        if (!MGIdentityListModel::isIdentity(item))
            continue;
        const CBIdentity who = item.value<CBIdentity>();
        if (who.isUser() && !use.isTaken(who, *model->entryAt(row)) && free.size() < 2)
            free << who;
    }
    if (free.size() < 2) {
        std::printf("  one change of user: skipped, fewer than two users are free to choose\n");
    } else {
        QList<double> changes;
        for (int i = 0; i < repetitions; ++i) {
            clock.restart();
            const bool done = model->setData(model->index(row, MGAclEntriesTableModel::IdentityColumn),
                                             QVariant::fromValue(free.at(i % 2)), Qt::EditRole);
            handleAndPaint(window);
            if (!done) {
                std::fprintf(stderr, "the model refused %s\n", qPrintable(free.at(i % 2).displayName()));
                return 1;
            }
            changes << milliseconds(clock);
        }
        report("one change of user", changes);
    }
    plugin->window()->closeWithoutAsking();
    return 0;
}
