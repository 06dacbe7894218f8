#pragma once

#include <QHash>
#include <QObject>
#include <QByteArrayList>
#include <QStringList>

class QSocketNotifier;

// Told of file-system changes; may be called on any thread.
class MGFileEventerDelegate
{
public:
    virtual ~MGFileEventerDelegate() = default;
    virtual void fileSystemEventHappenedAtPaths(const QStringList &paths) = 0;
};

// Watches paths with inotify and reports every change to them: content, owner, group,
// mode, ACL and other attributes (whoever made it), and for folders the creation, removal
// and renaming of what is in them. Reports arrive on the thread that made the watcher,
// which needs an event loop. Watching stops when the watcher is destroyed.
class MGFileEventer : public QObject
{
    Q_OBJECT
public:
    // The paths are the bytes the file system uses.
    MGFileEventer(MGFileEventerDelegate *delegate, const QByteArrayList &pathsToWatch, bool watchFiles,
                  QObject *parent = nullptr);
    ~MGFileEventer() override;

private:
    void readEvents();

    MGFileEventerDelegate *m_delegate;
    QHash<int, QString> m_watches;
    int m_fd = -1;
    QSocketNotifier *m_notifier = nullptr;
};
