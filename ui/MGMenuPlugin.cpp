#include "MGMenuPlugin.h"

#include <QFileInfo>

MGHostItem MGHostItem::fromPath(const QString &path)
{
    const QFileInfo info(path);
    return MGHostItem(QUrl::fromLocalFile(info.absoluteFilePath()), info.exists());
}
