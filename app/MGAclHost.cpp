#include "MGAclHost.h"

#include "MGAclPlugin.h"
#include "MGTabViewController.h"
#include "MGWindowController.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QTimer>
#include <cstdio>

QString MGAclHost::modulePath()
{
    // Fixed relative to this program's own place, so nothing is looked up anywhere else.
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/" MARROWGATE_PLUGIN_FROM_LIBEXECDIR));
}

MGMenuPluginFactory *MGAclHost::loadModule(QString *error)
{
    m_loader.setFileName(modulePath());
    auto *factory = qobject_cast<MGMenuPluginFactory *>(m_loader.instance());
    if (!factory)
        *error = QStringLiteral("Cannot load the ACL plug-in \u201c%1\u201d: %2").arg(m_loader.fileName(), m_loader.errorString());
    return factory;
}

int MGAclHost::run(const QStringList &paths)
{
    QString error;
    MGMenuPluginFactory *factory = loadModule(&error);
    if (!factory) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    QList<MGHostItem> items;
    for (const QString &path : paths)
        items << MGHostItem::fromPath(path);
    QEventLoop loop;
    {
        // The host keeps nothing of the plug-in object once it has the items.
        const std::shared_ptr<MGMenuPlugin> plugin = factory->plugin();
        QObject::connect(plugin->pluginObject(), &QObject::destroyed, &loop, &QEventLoop::quit);
        plugin->processItems(items);
    }
    loop.exec();
    return 0;
}

int MGAclHost::screenshot(const QString &path, const QString &out, int tab)
{
    QString error;
    MGMenuPluginFactory *factory = loadModule(&error);
    if (!factory) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    const std::shared_ptr<MGMenuPlugin> plugin = factory->plugin();
    auto *acl = qobject_cast<MGAclPlugin *>(plugin->pluginObject());
    if (!acl || !QFileInfo::exists(path)) {
        std::fprintf(stderr, "Cannot open \u201c%s\u201d.\n", qPrintable(path));
        return 1;
    }
    QEventLoop loop;
    bool shown = false;
    auto done = [&] {
        shown = true;
        QTimer::singleShot(300, &loop, &QEventLoop::quit); // let the views settle
    };
    QObject::connect(acl, tab == 1 ? &MGAclPlugin::accessChanged : &MGAclPlugin::entriesChanged, &loop, [&] {
        if (!shown && (tab == 1 ? !acl->access().isEmpty() : !acl->entries().isEmpty()))
            done();
    });
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    plugin->processItems({MGHostItem::fromPath(path)});
    if (tab == 1)
        acl->tabViewController()->setSelectedTabViewItemIndex(1);
    loop.exec();
    MGWindow *window = acl->window();
    const bool saved = shown && window->grab().save(out, "PNG");
    window->closeWithoutAsking();
    if (!saved) {
        std::fprintf(stderr, "The window showed nothing to save within 30 s.\n");
        return 1;
    }
    std::printf("%s\n", qPrintable(out));
    return 0;
}
