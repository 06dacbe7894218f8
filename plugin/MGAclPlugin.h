#pragma once

#include "CBIdentity.h"
#include "MGAclDocument.h"
#include "MGAclEditSession.h"
#include "MGAclItemWatch.h"
#include "MGAclList.h"
#include "MGAclServiceClient.h"
#include "MGMenuPlugin.h"
#include "MGWindow.h"

#include <QCoreApplication>
#include <QPointer>

#include "MGAclPropagationView.h"
#include <QPixmap>
#include <QUrl>
#include <QVariantList>
#include <atomic>
#include <memory>

class MGTabViewController;
class MGWindowController;
class QAction;
class QTimer;

// The plug-in object: one ACL window for one file or folder. It reads the item's entry list
// through the ACL service into its edit session (MGAclEditSession, which holds the list, its
// edits and the rules they follow), offers the editing operations, saves and propagates,
// fetches the effective-access tree, and keeps itself alive (holder) until its window closes.
//
// Threads: the host's calls, views, alerts, the session and access run on the main thread;
// remote calls, the copy-and-change step of every list operation and the watch of the item
// run on the serial work queue (queue()); replies arrive on the connections' threads.
class MGAclPlugin : public MGAclDocument, public MGAclServiceClient, public MGMenuPlugin, public MGWindowDelegate
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
    MGAclEditSession *session() const override { return m_session; }
    QUrl url() const override { return m_session->url(); } // any thread
    void setUrl(const QUrl &url);
    // The list as shown; main thread only.
    MGAclList entries() const override;
    // Installs a list as the one shown (the edited list), main thread.
    void setEntries(const MGAclList &entries);
    // A copy of the list as last installed or edited, whose entries nobody else holds: what
    // the work queue and the reply threads work on.
    MGAclList entriesSnapshot() const { return m_session->snapshot(); }
    QList<MGAclEntry::Pointer> aclEntries() const { return m_session->aclEntries(); } // main thread
    MGAclList revertedEntries() const override { return m_session->readEntries(); } // any thread
    bool canRevertEntries() const { return m_session->isEdited(); }
    void updateEntries(); // work queue

    // Effective access.
    QList<MGTreeNode::Pointer> access() const override;
    QString accessBlockedBy() const override { return m_accessBlockedBy; } // main thread
    QString accessCaveat() const override { return m_accessCaveat; }       // main thread
    QString aclUnavailableReason() const override { return m_aclUnavailable; } // main thread
    Notice notice() const override { return m_session->notice(); } // main thread
    bool isEdited() const override { return m_session->isEdited(); }
    bool showsAccessAsEdited() const override { return m_accessAsEdited; }
    void setShowsAccessAsEdited(bool asEdited) override;
    void reloadFromDisk() override;
    void keepEditsOverDisk() override;
    void restoreDiscardedEdits() override;
    void setAccess(const QList<MGTreeNode::Pointer> &access); // main thread
    CBIdentity identity() const override;
    void setIdentity(const CBIdentity &identity) override;
    // The users and groups to choose from (the shared list the choosers show).
    QVariantList identities() const;
    bool canUpdateAccess() const { return m_canUpdateAccess; }
    void setCanUpdateAccess(bool open) { m_canUpdateAccess = open; }
    void updateAccess(); // work queue
    // The one watch of the item (it lives on the work queue); null before the item is set.
    MGAclItemWatch *itemWatch() const { return m_watch; }

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

    // What a picture of the window shows (for documentation and review), made as a person
    // would make it, through the window's own views and commands. `wait` runs the event
    // loop until its condition holds or the time is up.
    struct Scene
    {
        int tab = 0;
        int permissionsRow = -1; // with the permission editor open for this row
        int findRow = -1; // with this row's identity chooser open, `find` typed into it
        QString find;
        QString add; // with an entry added for this user or group (a name), not saved
        QString who; // the access tab's user or group
        bool asEdited = false; // the access tab showing the edited list
    };
    using Wait = std::function<bool(const std::function<bool()> &done, int milliseconds)>;
    // The entries tab's part (the permission editor, an added entry); an error says what
    // could not be done.
    QString stageEntries(const Scene &scene, const Wait &wait);
    // The rest: the tab shown, its user or group, and an open chooser.
    void stageTabAndChooser(const Scene &scene, const Wait &wait);
    // The window as it looks, with the sheets and pop-ups open over it drawn in.
    QPixmap picture() const;

    // List operations; each returns at once and installs its result later.
    void moveEntryAtIndex(qsizetype from, qsizetype toIndex) override;
    bool hasInheritedEntries() const { return m_session->hasInheritedEntries(); }
    bool keepsMask() const { return m_session->keepsMask(); }
    bool isCanonical() const { return m_session->isCanonical(); }

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
    // What a write expects of the item: the list read from it, from that very file; any thread.
    MGAclExpectation expectation() const;
    // Installs the result of a list operation worked out on the work queue.
    void install(MGAclListOperations::Result result);
    // The list became edited or not edited.
    void showEdited();
    void showError(const MGError &error);
    void reload();
    // The item was seen to change on disk (work queue): what the window does about it.
    void itemChanged();
    // Why nobody can change the item, that saving will ask for an authorisation, and why it
    // keeps no ACLs (each empty when not so); work queue: it looks at the file system.
    struct ItemNotices
    {
        QString blocked, asksAuthorisation, noAcls;
    };
    ItemNotices itemNotices() const;

    MGAclEditSession *m_session = nullptr; // owned, main thread
    mutable QMutex m_stateLock; // guards what the work queue and reply threads also read
    QList<MGTreeNode::Pointer> m_access;
    QString m_accessBlockedBy; // main thread
    QString m_accessCaveat;    // main thread
    QString m_aclUnavailable; // main thread
    std::atomic<bool> m_accessAsEdited = false; // set on the main thread, read on the work queue
    std::atomic<bool> m_accessShown = false; // the access tab is shown
    CBIdentity m_identity;
    std::atomic<bool> m_canUpdateAccess = true;
    QTimer *m_timer = nullptr; // lives on the work queue
    QPointer<MGAclItemWatch> m_watch; // lives on the work queue
    std::unique_ptr<MGWindowController> m_windowController;
    MGTabViewController *m_tabViewController = nullptr; // owned through the window
    QPointer<MGAclPropagationView> m_propagationView; // owned through the window
    QList<Pointer> m_holder;
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
