#pragma once

#include <QObject>
#include <QUrl>
#include <QtPlugin>
#include <memory>

// One item the user chose in the file manager.
class MGHostItem
{
public:
    explicit MGHostItem(QUrl url, bool valid = true) : m_url(std::move(url)), m_valid(valid) {}
    // The item a path names (bytes, as the file system has them), with every symbolic link
    // on the way followed: the permissions shown and changed are the item's, never a
    // link's. Invalid when nothing is there.
    static MGHostItem fromPath(const QByteArray &path);
    static MGHostItem fromPath(const QString &path);

    bool isValid() const { return m_valid; }
    QUrl URL() const { return m_url; }
    // The path as chosen, when it led to URL() through a link; empty otherwise.
    QUrl linkURL() const { return m_linkUrl; }

private:
    QUrl m_url;
    QUrl m_linkUrl;
    bool m_valid;
};

// What a menu command's plug-in object offers its host: the chosen items are handed over
// once, after which the object looks after itself and is destroyed (QObject::destroyed)
// when it is done.
class MGMenuPlugin
{
public:
    virtual ~MGMenuPlugin() = default;
    virtual void processItems(const QList<MGHostItem> &items) = 0;
    virtual QObject *pluginObject() = 0;
};

// The entry point of a plug-in module: a new plug-in object for each use of the command.
class MGMenuPluginFactory
{
public:
    virtual ~MGMenuPluginFactory() = default;
    virtual std::shared_ptr<MGMenuPlugin> plugin() = 0;
    virtual QString menuTitle() const = 0;
};

#define MGMenuPluginFactory_iid "com.quillwork.Marrowgate.MenuPluginFactory/1.0"
Q_DECLARE_INTERFACE(MGMenuPluginFactory, MGMenuPluginFactory_iid)
