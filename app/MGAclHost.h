#pragma once

#include "MGMenuPlugin.h"

#include <QPluginLoader>
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

    // Opens the window for the items (if the plug-in accepts them) and runs until the
    // plug-in object has freed itself.
    int run(const QStringList &paths);
    // Opens the window for `path` on tab 0 or 1, waits until its content is shown, and
    // saves the window as a PNG.
    int screenshot(const QString &path, const QString &out, int tab);

private:
    QPluginLoader m_loader;
};
