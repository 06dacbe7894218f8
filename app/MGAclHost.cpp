#include "MGAclHost.h"

#include "CBIdentityAuthority.h"
#include "MGAclEntriesTableModel.h"

#include "MGAclAccessViewController.h"
#include "MGAclEntriesViewController.h"
#include "MGAclHostInstance.h"
#include "MGAclMenuBar.h"
#include "MGAclPlugin.h"
#include "MGAclWindowArguments.h"
#include "MGIdentityPopUpButton.h"
#include "MGTabViewController.h"
#include "MGWindowController.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QProcess>
#include <QSet>
#include <QTimer>
#include <cstdio>

QString MGAclHost::modulePath()
{
    // Fixed relative to this program's own place, so nothing is looked up anywhere else.
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/" MARROWGATE_PLUGIN_FROM_LIBEXECDIR));
}

MGMenuPluginFactory *MGAclHost::loadModule(QString *error)
{
    if (m_loader.isLoaded())
        return qobject_cast<MGMenuPluginFactory *>(m_loader.instance());
    m_loader.setFileName(modulePath());
    auto *factory = qobject_cast<MGMenuPluginFactory *>(m_loader.instance());
    if (!factory)
        *error = QStringLiteral("Cannot load the ACL plug-in \u201c%1\u201d: %2").arg(m_loader.fileName(), m_loader.errorString());
    return factory;
}

int MGAclHost::run(const QByteArrayList &paths, const QString &instanceName)
{
    QString error;
    if (!loadModule(&error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    MGAclHostInstance instance;
    instance.listen(instanceName, [this](const QByteArray &path) { open({path}); });
    open(paths);
    if (m_open > 0)
        m_loop.exec();
    return m_failed ? 1 : 0;
}

void MGAclHost::showOpenError(const QByteArray &path, const QString &problem)
{
    // A desktop launcher's standard error is seen by nobody: the reason gets a window of its
    // own, and the host runs until it is closed.
    m_failed = true;
    auto *box = new QMessageBox(QMessageBox::Critical, QApplication::applicationDisplayName(),
                                QStringLiteral("Cannot open \u201c%1\u201d").arg(QFile::decodeName(path)),
                                QMessageBox::Ok);
    box->setObjectName(QStringLiteral("openError"));
    box->setInformativeText(problem);
    box->setAttribute(Qt::WA_DeleteOnClose);
    ++m_open;
    QObject::connect(box, &QObject::destroyed, &m_loop, [this] {
        if (--m_open == 0)
            m_loop.quit();
    });
    box->show();
}

void MGAclHost::open(const QByteArrayList &paths)
{
    QString error;
    MGMenuPluginFactory *factory = loadModule(&error);
    if (!factory)
        return;
    QList<MGHostItem> items;
    for (const QByteArray &path : paths) {
        MGAclWindowArguments window;
        window.path = path;
        if (const QString problem = window.itemProblem(); !problem.isEmpty()) {
            showOpenError(path, problem);
            continue;
        }
        items << MGHostItem::fromPath(path);
    }
    if (items.isEmpty())
        return;
    // The host keeps nothing of the plug-in object once it has the items; it runs until
    // every object it made has freed itself.
    const std::shared_ptr<MGMenuPlugin> plugin = factory->plugin();
    ++m_open;
    QObject::connect(plugin->pluginObject(), &QObject::destroyed, &m_loop, [this] {
        if (--m_open == 0)
            m_loop.quit();
    });
    plugin->processItems(items);
    attachMenuBars();
}

void MGAclHost::attachMenuBars()
{
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (auto *window = qobject_cast<MGWindow *>(top))
            MGAclMenuBar::attachTo(window);
    }
}

namespace {
// Runs the event loop until `done` answers true, or for at most `milliseconds`. The loop
// sleeps between events and looks again every few milliseconds: spinning would take a core
// from the service the window waits for.
bool waitFor(const std::function<bool()> &done, int milliseconds)
{
    if (done())
        return true;
    QEventLoop loop;
    QElapsedTimer clock;
    clock.start();
    QTimer look;
    look.setInterval(5);
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (done() || clock.elapsed() >= milliseconds)
            loop.quit();
    });
    look.start();
    loop.exec();
    return done();
}

// Lets the window finish what its last change set off (layouts, deferred updates): a few
// passes through the event loop, each until nothing more is waiting.
void settle()
{
    for (int pass = 0; pass < 3; ++pass) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
    }
}

// The window as it looks, with the sheets and pop-ups open over it drawn in.
QPixmap picture(QWidget *window)
{
    QPixmap canvas = window->grab();
    QPainter painter(&canvas);
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (top == window || !top->isVisible() || top->parentWidget() == nullptr || top->window() != top)
            continue;
        const QPoint where = top->mapToGlobal(QPoint(0, 0)) - window->mapToGlobal(QPoint(0, 0));
        painter.drawPixmap(where, top->grab());
    }
    return canvas;
}
}

bool MGAclHost::installQtTranslation(const QLocale &locale)
{
    static QTranslator *installed = nullptr;
    if (installed)
        return true;
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (!translator->load(locale, QStringLiteral("qtbase"), QStringLiteral("_"),
                          QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        return false;
    QCoreApplication::installTranslator(translator.get());
    installed = translator.release();
    return true;
}

int MGAclHost::screenshot(const Screenshot &request)
{
    QString error;
    MGMenuPluginFactory *factory = loadModule(&error);
    if (!factory) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    const std::shared_ptr<MGMenuPlugin> plugin = factory->plugin();
    auto *acl = qobject_cast<MGAclPlugin *>(plugin->pluginObject());
    const MGHostItem item = MGHostItem::fromPath(request.path);
    if (!acl || !item.isValid()) {
        std::fprintf(stderr, "%s\n",
                     qPrintable(QStringLiteral("Cannot open \u201c%1\u201d: there is no such file or folder.")
                                    .arg(QFile::decodeName(request.path))));
        return 1;
    }
    bool shown = false;
    QObject::connect(acl, &MGAclPlugin::entriesChanged, acl, [&] { shown = shown || !acl->entries().isEmpty(); });
    plugin->processItems({item});
    attachMenuBars();
    waitFor([&] { return shown; }, 30000);
    settle();
    MGWindow *window = acl->window();
    if (request.size.isValid()) {
        window->resize(request.size);
        settle();
    }
    auto *entries = qobject_cast<MGAclEntriesViewController *>(acl->tabViewController()->childViewControllers().value(0));
    if (shown && entries && request.permissionsRow >= 0) {
        entries->selectRow(request.permissionsRow);
        entries->showPermissions(nullptr);
        waitFor([] { return false; }, 300);
    }
    if (shown && entries && !request.add.isEmpty()) {
        // As "+" does it: the new entry comes after the selected row and its chooser opens,
        // where the user or group is chosen.
        const std::optional<CBIdentity> who = CBIdentityAuthority::defaultIdentityAuthority().identityForText(request.add);
        if (!who) {
            std::fprintf(stderr, "%s\n", qPrintable(QStringLiteral("There is no user or group \u201c%1\u201d.").arg(request.add)));
            window->closeWithoutAsking();
            return 1;
        }
        QAbstractItemModel *model = entries->tableView()->model();
        const int rows = model->rowCount();
        QSet<const MGAclEntry *> before;
        for (int r = 0; r < rows; ++r)
            before << entries->model()->entryAt(r);
        entries->addEntry(nullptr);
        waitFor([&] { return model->rowCount() > rows; }, 10000);
        settle();
        // The new entry's row: the one whose entry was not there before.
        int row = -1;
        for (int r = 0; r < model->rowCount() && row < 0; ++r) {
            if (const MGAclEntry *entry = entries->model()->entryAt(r); entry && !before.contains(entry))
                row = r;
        }
        // Chosen in the new row's chooser, as the user would; dismissing it would take the
        // add back.
        waitFor([&] { return entries->cellEditor(row, MGAclEntriesTableModel::IdentityColumn) != nullptr; }, 2000);
        if (auto *chooser = qobject_cast<MGIdentityPopUpButton *>(
                entries->cellEditor(row, MGAclEntriesTableModel::IdentityColumn)))
            chooser->chooseIdentity(*who);
        else
            model->setData(model->index(row, MGAclEntriesTableModel::IdentityColumn), QVariant::fromValue(*who));
        settle();
        if (row < 0 || entries->model()->entryAt(row)->identity() != *who) {
            std::fprintf(stderr, "%s\n", qPrintable(QStringLiteral("An entry for \u201c%1\u201d cannot be added here.").arg(request.add)));
            window->closeWithoutAsking();
            return 1;
        }
        entries->tableView()->scrollTo(model->index(row, 0));
        settle();
    }
    if (shown && !request.elsewhere.isEmpty()) {
        // Someone else changes the item meanwhile, as a shell would.
        const QString command = QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/marrowgate-acl");
        QProcess::execute(command, {QStringLiteral("set"), QFile::decodeName(request.path), request.elsewhere});
        waitFor([&] { return acl->notice().kind != MGAclDocument::Notice::None; }, 5000);
        settle();
    }
    if (shown && request.tab == 1) {
        // The access tab, for the user or group asked for, as saved or as edited.
        bool answered = false;
        QObject::connect(acl, &MGAclPlugin::accessChanged, acl, [&] { answered = !acl->access().isEmpty(); });
        acl->tabViewController()->setSelectedTabViewItemIndex(1);
        waitFor([&] { return answered; }, 30000);
        if (!request.who.isEmpty()) {
            const std::optional<CBIdentity> who = CBIdentityAuthority::defaultIdentityAuthority().identityForText(request.who);
            if (who) {
                answered = false;
                acl->setIdentity(*who);
                waitFor([&] { return answered; }, 30000);
            }
        }
        auto *access = qobject_cast<MGAclAccessViewController *>(acl->tabViewController()->childViewControllers().value(1));
        if (request.asEdited && access && access->asEditedSwitch()->isEnabled()) {
            answered = false;
            access->asEditedSwitch()->setChecked(true);
            waitFor([&] { return answered; }, 30000);
        }
        settle();
    }
    if (shown && entries && request.findRow >= 0) {
        entries->selectRow(request.findRow);
        entries->editCell(request.findRow, MGAclEntriesTableModel::IdentityColumn);
        waitFor([] { return false; }, 100);
        auto *chooser = qobject_cast<MGIdentityPopUpButton *>(
            entries->cellEditor(request.findRow, MGAclEntriesTableModel::IdentityColumn));
        if (chooser) {
            if (!chooser->searchField())
                chooser->showPopup();
            if (chooser->searchField())
                chooser->searchField()->setText(request.find);
            waitFor([] { return false; }, 300);
        }
    }
    const bool saved = shown && picture(window).save(request.out, "PNG");
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (top != window && top->isVisible())
            top->close();
    }
    window->closeWithoutAsking();
    if (!shown) {
        std::fprintf(stderr, "The window showed nothing to save within 30 s.\n");
        return 1;
    }
    if (!saved) {
        std::fprintf(stderr, "%s\n", qPrintable(QStringLiteral("Cannot write the picture to \u201c%1\u201d.").arg(request.out)));
        return 1;
    }
    std::printf("%s\n", qPrintable(request.out));
    return 0;
}
