#include "MGAclHost.h"

#include "MGAclHostInstance.h"
#include "MGAclMenuBar.h"
#include "MGAclPlugin.h"
#include "MGAclWindowArguments.h"

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
    MGAclMenuBar::attachToWindows();
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
    // Everything is done through the plug-in object, as a person would do it in the window.
    const MGAclPlugin::Wait wait = [](const std::function<bool()> &done, int milliseconds) {
        const bool met = waitFor(done, milliseconds);
        settle();
        return met;
    };
    if (request.size.isValid()) {
        acl->window()->resize(request.size);
        settle();
    }
    const MGAclPlugin::Scene scene{request.tab, request.permissionsRow, request.findRow, request.find, request.add,
                                   request.who, request.asEdited};
    if (shown) {
        if (const QString problem = acl->stageEntries(scene, wait); !problem.isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(problem));
            acl->window()->closeWithoutAsking();
            return 1;
        }
    }
    if (shown && !request.elsewhere.isEmpty()) {
        // Someone else changes the item meanwhile, as a shell would.
        const QString command = QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/marrowgate-acl");
        QProcess::execute(command, {QStringLiteral("set"), QFile::decodeName(request.path), request.elsewhere});
        waitFor([&] { return acl->notice().kind != MGAclDocument::Notice::None; }, 5000);
        settle();
    }
    if (shown)
        acl->stageTabAndChooser(scene, wait);
    const bool saved = shown && acl->picture().save(request.out, "PNG");
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (top != acl->window() && top->isVisible())
            top->close();
    }
    acl->window()->closeWithoutAsking();
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
