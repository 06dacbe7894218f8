#pragma once

#include "CBIdentity.h"
#include "MGAclList.h"
#include "MGAclServiceProxy.h"
#include "MGConnector.h"
#include "MGFileEventer.h"
#include "MGMenuPlugin.h"
#include "MGWindow.h"

#include <QPointer>
#include <QUrl>
#include <QVariantList>
#include <atomic>
#include <memory>

class MGTabViewController;
class MGWindowController;
class QAction;
class QTimer;

// The plug-in object: one ACL window for one file or folder. It reads the item's entry list
// through the ACL service, keeps the edited list and an unchanged copy, offers the editing
// operations, saves and propagates, fetches the effective-access tree, and keeps itself
// alive (holder) until its window closes.
//
// Threads: the host's calls, views, alerts, installing lists and access run on the main
// thread; remote calls and the copy-and-change step of every edit run on the serial work
// queue (queue()); replies arrive on the connections' threads.
class MGAclPlugin : public MGConnector,
                    public MGMenuPlugin,
                    public MGWindowDelegate,
                    public MGFileEventerDelegate,
                    public std::enable_shared_from_this<MGAclPlugin>
{
    Q_OBJECT
public:
    using Pointer = std::shared_ptr<MGAclPlugin>;

    // The four operations of the ACL service, each with its right and its error description,
    // in the order of MGAclRemoteMethods.
    enum class Operation { ReadEntries, WriteEntries, Propagate, ReadAccess };
    static const char *rightFor(Operation operation);
    static QString descriptionFor(Operation operation);

    // How one operation ended after the ordinary attempt and, where needed, the one
    // privileged retry.
    template <typename Result>
    struct Outcome
    {
        enum Kind { Succeeded, Failed, Cancelled } kind;
        std::optional<Result> result;
        MGResultError error; // Failed: what to show (may be empty)
        bool fromPrivilegedReply = false; // Failed: the privileged call itself answered the error
    };
    template <typename Result>
    using Invoke = std::function<void(MGAclServiceProxy &proxy,
                                      std::function<void(std::optional<Result>, MGResultError)> reply)>;

    static constexpr const char *QueueLabel = "com.quillwork.Marrowgate.Acl.UpdateQueue";
    static constexpr const char *AutosaveName = "MGAclWindow";

    // A new plug-in object with its window built (not shown), holding itself.
    static Pointer plugin();
    ~MGAclPlugin() override;

    // The host's side.
    void processItems(const QList<MGHostItem> &items) override;
    QObject *pluginObject() override { return this; }
    bool validateMenuItem(QAction *item);

    // The item and its lists.
    QUrl url() const;
    void setUrl(const QUrl &url);
    MGAclList entries() const;
    void setEntries(const MGAclList &entries); // main thread
    QList<MGAclEntry::Pointer> aclEntries();
    void setAclEntries(std::optional<QList<MGAclEntry::Pointer>> entries);
    MGAclList revertedEntries() const;
    void setRevertedEntries(const MGAclList &entries);
    bool canRevertEntries() const { return m_canRevertEntries; }
    void setCanRevertEntries(bool canRevert);
    void updateEntries(); // work queue

    // Effective access.
    QList<MGTreeNode::Pointer> access() const;
    void setAccess(const QList<MGTreeNode::Pointer> &access); // main thread
    CBIdentity identity() const;
    void setIdentity(const CBIdentity &identity);
    QVariantList identities() const;
    bool canUpdateAccess() const { return m_canUpdateAccess; }
    void setCanUpdateAccess(bool open) { m_canUpdateAccess = open; }
    void updateAccess(); // work queue
    void fileSystemEventHappenedAtPaths(const QStringList &paths) override;
    MGFileEventer *fileEventer() const { return m_fileEventer; }
    QTimer *timer() const { return m_timer; }

    // The window.
    MGWindowController *windowController() const { return m_windowController.get(); }
    MGTabViewController *tabViewController() const { return m_tabViewController; }
    MGWindow *window() const;
    bool windowShouldClose(QWidget *window) override;
    void windowWillClose() override;
    QObject *delegateObject() override { return this; }
    QList<Pointer> holder() const { return m_holder; }
    void setHolder(QList<Pointer> holder) { m_holder = std::move(holder); }

    // List operations; each returns at once and installs its result later.
    void moveEntryAtIndex(qsizetype from, qsizetype toIndex);
    bool hasInheritedEntries() const;
    bool isCanonical();

    // Remote calls with the retry pattern.
    QHash<QString, MGRemoteClasses::Classes> remoteEncodableClasses() const override;
    std::optional<QHash<QString, MGRemoteClasses::Classes>> exportedEncodableClasses() const override;
    void getEntriesWithUrl(const QUrl &url, MGAclServiceProxy::EntriesReply reply);
    void getAccessWithUrl(const QUrl &url, const QUuid &uuid, MGAclServiceProxy::AccessReply reply);
    void sendEntries(Operation operation, const MGAclList &entries, const QUrl &url,
                     std::function<void(Outcome<std::monostate>)> done);
    template <typename Result>
    void performRemote(Operation operation, Invoke<Result> invoke, std::function<void(Outcome<Result>)> done);

public slots:
    // Actions, sent through the window (the name is the action without its colon).
    void addEntry(const QVariant &row);
    void removeEntry(const QVariant &row);
    void revertEntries(QObject *sender);
    void saveEntries(QObject *sender);
    void propagateEntries(QObject *sender);
    void sortEntriesCanonically(QObject *sender);
    void removeInheritedEntries(QObject *sender);
    void makeInheritedEntriesExplicit(QObject *sender);
    void inheritEntriesFromParent(QObject *sender);

    void observeValueForKeyPath(const QString &keyPath, QObject *object);
    void tabViewIndexDidChange(int index);
    void identitiesUpdated();

signals:
    void entriesChanged();
    void accessChanged();
    void identitiesChanged();
    void identityChanged();

protected:
    MGAclPlugin();
    // Builds the window and the rest, in order; needs the object's shared pointer.
    void initialize();
    template <typename T>
    static std::shared_ptr<T> adopt(T *object);

private:
    static void destroy(QObject *object);
    void reactToSelectedTab(int index);
    void installOnMainQueue(MGAclList list);
    void showError(const MGError &error);
    void reload();

    mutable QMutex m_stateLock; // guards what the work queue and reply threads also read
    QUrl m_url;
    MGAclList m_entries;
    std::optional<QList<MGAclEntry::Pointer>> m_aclEntries;
    MGAclList m_revertedEntries;
    QList<MGTreeNode::Pointer> m_access;
    CBIdentity m_identity;
    bool m_canRevertEntries = false;
    std::atomic<bool> m_canUpdateAccess = true;
    QTimer *m_timer = nullptr; // lives on the work queue
    QPointer<MGFileEventer> m_fileEventer; // lives on the work queue
    std::unique_ptr<MGWindowController> m_windowController;
    MGTabViewController *m_tabViewController = nullptr; // owned through the window
    QList<Pointer> m_holder;
};

template <typename T>
std::shared_ptr<T> MGAclPlugin::adopt(T *object)
{
    std::shared_ptr<T> pointer(object, [](T *o) { destroy(o); });
    pointer->initialize();
    return pointer;
}
