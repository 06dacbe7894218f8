#pragma once

#include "MGMenuPlugin.h"

#include <QEventLoop>
#include <QPluginLoader>
#include <QByteArrayList>
#include <QLocale>
#include <QSize>
#include <QStringList>

class MGAclPlugin;

// The small host: loads the plug-in module, hands it the items and waits until the
// plug-in object is gone. Also takes screenshots of the window for docs and reviews.
class MGAclHost
{
public:
    // The module installed (or built) beside this program.
    static QString modulePath();

    // Answers the module's factory, or nothing with `error` saying why.
    MGMenuPluginFactory *loadModule(QString *error);

    // Opens the window for the items (if the plug-in accepts them) and runs until every
    // plug-in object has freed itself; meanwhile items handed over at `instanceName` (when
    // given) open windows of their own.
    int run(const QByteArrayList &paths, const QString &instanceName = QString());
    // Opens one more window, for the items.
    void open(const QByteArrayList &paths);
    // What a picture of the window shows.
    struct Screenshot
    {
        QByteArray path; // the item, as the file system names it
        QString out; // the PNG to write
        int tab = 0;
        int permissionsRow = -1; // with the permission editor open for this row
        int findRow = -1; // with this row's identity chooser open, `find` typed into it
        QString find;
        QString add; // with an entry added for this user or group (a name), not saved
        QSize size; // the window's size, when valid
        QString elsewhere; // an entry then set by another program, as someone else would
        QString who; // the access tab's user or group
        bool asEdited = false; // the access tab showing the edited list
    };
    // Loads Qt's own texts (key names in menus such as "Strg+S", standard buttons) in the
    // language of `locale` beside the program's, where the system has them (Debian package
    // qt6-translations-l10n); answers whether it did. Once per process.
    static bool installQtTranslation(const QLocale &locale);
    // Opens the window as asked, waits until its content is shown, and saves it (with any
    // sheet or chooser open over it) as a PNG.
    int screenshot(const Screenshot &request);

    // Says in a window of its own why `path` cannot be opened.
    void showOpenError(const QByteArray &path, const QString &problem);

private:
    // Every ACL window gets the host's menu bar.
    static void attachMenuBars();

    QPluginLoader m_loader;
    QEventLoop m_loop;
    int m_open = 0;
    bool m_failed = false; // an item could not be opened
};
