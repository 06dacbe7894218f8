#pragma once

#include "CBIdentity.h"
#include "MGAclList.h"
#include "MGAclDocument.h"
#include "MGAclServiceClient.h"
#include "MGFileEventer.h"
#include "MGMenuPlugin.h"
#include "MGWindow.h"

#include <QCoreApplication>
#include <QPointer>

#include "MGAclPropagationView.h"
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
class MGAclPlugin : public MGAclDocument,
                    public MGAclServiceClient,
                    public MGMenuPlugin,
                    public MGWindowDelegate,
                    public MGFileEventerDelegate
{
    Q_OBJECT
public:
    using Pointer = std::shared_ptr<MGAclPlugin>;

    static constexpr const char *QueueLabel = "com.quillwork.Marrowgate.Acl.UpdateQueue";
    static constexpr const char *AutosaveName = "MGAclWindow";

    // A new plug-in object with its window built (not shown), holding itself.
    static Pointer plugin();
    ~MGAclPlugin() override;
    Pointer shared_from_this() { return std::static_pointer_cast<MGAclPlugin>(MGAclServiceClient::shared_from_this()); }

    // The host's side.
    void processItems(const QList<MGHostItem> &items) override;
    QObject *pluginObject() override { return this; }
    bool validateMenuItem(QAction *item) override;

    // The item and its lists.
    QUrl url() const override;
    void setUrl(const QUrl &url);
    // The list as shown; main thread only (the views edit its entries in place there).
    MGAclList entries() const override;
    void setEntries(const MGAclList &entries); // main thread
    // A copy of the list as last installed or edited, whose entries nobody else holds: what
    // the work queue and the reply threads work on.
    MGAclList entriesSnapshot() const;
    QList<MGAclEntry::Pointer> aclEntries(); // main thread
    void setAclEntries(std::optional<QList<MGAclEntry::Pointer>> entries);
    MGAclList revertedEntries() const override;
    void setRevertedEntries(const MGAclList &entries);
    bool canRevertEntries() const { return m_canRevertEntries; }
    void setCanRevertEntries(bool canRevert);
    void updateEntries(); // work queue

    // Effective access.
    QList<MGTreeNode::Pointer> access() const override;
    QString accessBlockedBy() const override { return m_accessBlockedBy; } // main thread
    QString aclUnavailableReason() const override { return m_aclUnavailable; } // main thread
    Notice notice() const override; // main thread
    bool isEdited() const override { return m_canRevertEntries; }
    bool showsAccessAsEdited() const override { return m_accessAsEdited; }
    void setShowsAccessAsEdited(bool asEdited) override;
    void reloadFromDisk() override;
    void keepEditsOverDisk() override;
    void setAccess(const QList<MGTreeNode::Pointer> &access); // main thread
    CBIdentity identity() const override;
    void setIdentity(const CBIdentity &identity) override;
    // The users and groups to choose from (the shared list the choosers show).
    QVariantList identities() const;
    bool canUpdateAccess() const { return m_canUpdateAccess; }
    void setCanUpdateAccess(bool open) { m_canUpdateAccess = open; }
    void updateAccess(); // work queue
    void fileSystemEventHappenedAtPaths(const QStringList &paths) override;
    MGFileEventer *fileEventer() const { return m_fileEventer; }

    // The window.
    MGWindowController *windowController() const { return m_windowController.get(); }
    MGTabViewController *tabViewController() const { return m_tabViewController; }
    // The strip that follows a propagation; null before the first one.
    MGAclPropagationView *propagationView() const { return m_propagationView; }
    MGWindow *window() const;
    bool windowShouldClose(QWidget *window) override;
    void windowWillClose() override;
    QObject *delegateObject() override { return this; }
    QList<Pointer> holder() const { return m_holder; }
    void setHolder(QList<Pointer> holder) { m_holder = std::move(holder); }

    // List operations; each returns at once and installs its result later.
    void moveEntryAtIndex(qsizetype from, qsizetype toIndex) override;
    bool hasInheritedEntries() const;
    bool keepsMask() const { return m_keepsMask; }
    bool isCanonical();

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
    // Turns "Keep the mask as it is" on or off: edits then leave the masks as they were read
    // (or set by hand) instead of raising them to what the entries they limit hold.
    void keepMask(QObject *sender);

    void observeValueForKeyPath(const QString &keyPath, QObject *object);
    void tabViewIndexDidChange(int index);
    void identitiesUpdated();

protected:
    MGAclPlugin();
    // Builds the window and the rest, in order; needs the object's shared pointer.
    void initialize();
    template <typename T>
    static std::shared_ptr<T> adopt(T *object);

private:
    // Propagates what the window holds, following it in the strip at the bottom.
    void startPropagation();
    void showLinkNote(const MGHostItem &item);
    void reactToSelectedTab(int index);
    void watchEntries(bool watch); // work queue
    void installOnMainQueue(MGAclList list);
    void publishSnapshot();
    void updateMasks();
    void showError(const MGError &error);
    void reload();
    // Why nobody can change the item, and that saving will ask for an authorisation (each
    // empty when not so); work queue: it looks at the file system.
    std::pair<QString, QString> changeNotices() const;
    // What the item's status was just before its list was last read, and whether it changed
    // since (another inode at the path counts as a change, nothing there as gone); work queue.
    struct ReadStamp
    {
        bool known = false;
        dev_t device = 0;
        ino_t inode = 0;
        qint64 changedSeconds = 0;
        qint64 changedNanoseconds = 0;
    };
    enum class DiskChange { None, Changed, Gone };
    void stampRead();
    DiskChange diskChangeSinceRead() const;

    mutable QMutex m_stateLock; // guards what the work queue and reply threads also read
    QUrl m_url;
    MGAclList m_entries; // main thread
    MGAclList m_snapshot; // a deep copy of m_entries, replaced (never edited) on every change
    std::optional<QList<MGAclEntry::Pointer>> m_aclEntries; // main thread
    MGAclList m_revertedEntries;
    QList<MGTreeNode::Pointer> m_access;
    QString m_accessBlockedBy; // main thread
    QString m_aclUnavailable; // main thread
    // What the window says about the item (see notice()), main thread: why nobody can change
    // it, or that saving will ask for an authorisation, found when it is read; and whether
    // it changed on disk while edited, or went away.
    QString m_changeBlocked;
    QString m_asksAuthorisation;
    bool m_changedOnDisk = false;
    ReadStamp m_readStamp; // guarded by m_stateLock
    std::atomic<bool> m_accessAsEdited = false; // set on the main thread, read on the work queue
    bool m_gone = false;
    CBIdentity m_identity;
    bool m_canRevertEntries = false;
    std::atomic<bool> m_canUpdateAccess = true;
    QTimer *m_timer = nullptr; // lives on the work queue
    QPointer<MGFileEventer> m_fileEventer; // lives on the work queue
    QPointer<QObject> m_entriesWatch; // lives on the work queue, while the entries tab is shown
    std::unique_ptr<MGWindowController> m_windowController;
    MGTabViewController *m_tabViewController = nullptr; // owned through the window
    QPointer<MGAclPropagationView> m_propagationView; // owned through the window
    QList<Pointer> m_holder;
    // The masks follow the entries they limit (as setfacl keeps them) until someone sets
    // one by hand; main thread only.
    bool m_accessMaskSet = false;
    bool m_defaultMaskSet = false;
    bool m_updatingMasks = false;
    bool m_keepsMask = false; // main thread; per window
    void publishEntry(const MGAclEntry *entry);
};

template <typename T>
std::shared_ptr<T> MGAclPlugin::adopt(T *object)
{
    // The object goes when its thread's event loop next turns, never inside a caller (a
    // host call, a window notice, a reply).
    std::shared_ptr<T> pointer(object, [](T *o) {
        if (QCoreApplication::instance())
            o->deleteLater();
        else
            delete o;
    });
    pointer->initialize();
    return pointer;
}
