#pragma once

#include <QObject>
#include <QStringList>

// Stands in for an observer of entries: records every key path it is told about.
class KeyPathRecorder : public QObject
{
    Q_OBJECT
public:
    QStringList keyPaths;
    QList<QObject *> objects;

public slots:
    void observeValueForKeyPath(const QString &keyPath, QObject *object)
    {
        keyPaths << keyPath;
        objects << object;
    }
};
