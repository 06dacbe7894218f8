#include "MGAclPlugin.h"

#include "MGServerAccounts.h"
#include "MGServerLogins.h"

#include "MGAclItemWatch.h"
#include "MGAclSupport.h"
#include "MGChangeBlockers.h"
#include "MGErrorAlert.h"
#include "MGIdentities.h"
#include "MGItemPaths.h"
#include "MGServerAccounts.h"
#include "MGServerLogins.h"
#include "MGTabViewController.h"
#include "MGUrlResources.h"
#include "MGWindowController.h"
#include "NTLocalizedString.h"

#include <QFileIconProvider>
#include <QFileInfo>
#include <QThread>
#include <QTimer>
#include <sys/stat.h>
#include <unistd.h>

void MGAclPlugin::setUrl(const QUrl &url)
{
    m_session->setUrl(url);
    m_session->setDirectory(resourceForKey(url, NSURLIsDirectoryKey).toBool());
    const Pointer self = shared_from_this();
    queue()->async([self, url] {
        self->updateEntries();
        // One watch of the item for the window's life: the list, the bar and the access tab
        // all follow it. A file server tells nothing of changes: its items are read again on
        // request, and a save finds what changed meanwhile.
        delete self->m_watch;
        self->m_watch = nullptr;
        if (MGItemPaths::isServerUrl(url))
            return;
        const std::weak_ptr<MGAclPlugin> weak = self;
        self->m_watch = new MGAclItemWatch(MGItemPaths::nativePath(url), [weak] {
            if (const Pointer watcher = weak.lock())
                watcher->itemChanged();
        }, self->queue()->context());
        const QString path = MGItemPaths::shownPath(url);
        MGMainQueue::async([self, path] {
            if (MGWindow *window = self->window())
                window->setWindowIcon(QFileIconProvider().icon(QFileInfo(path)));
        });
    });
    if (MGWindow *window = this->window()) {
        window->setRepresentedUrl(url);
        window->setWindowTitle(resourceForKey(url, NSURLLocalizedNameKey).toString() + QStringLiteral("[*]"));
    }
}

MGAclPlugin::ItemNotices MGAclPlugin::itemNotices() const
{
    ItemNotices notices;
    // A server item's store and rights are the server's: its answers say them.
    if (MGItemPaths::isServerUrl(url()))
        return notices;
    const QByteArray path = MGItemPaths::nativePath(url());
    const QString shown = MGItemPaths::shownPath(url());
    notices.noAcls = MGAclSupport::unavailableReason(url());
    if (const MGResultError blocked = MGChangeBlockers::checkPath(path, MGChangeBlockers::ChangeFailure, shown)) {
        notices.blocked = blocked->localizedDescription();
        return notices;
    }
    struct stat status {};
    if (::stat(path.constData(), &status) == 0 && getuid() != 0 && status.st_uid != getuid())
        notices.asksAuthorisation = NTLocalizedString::localize(QStringLiteral("You do not own \u201c%1\u201d: saving asks for an "
                                                                               "administrator\u2019s authorisation."),
                                                                QStringLiteral("ACL"))
                                        .arg(shown);
    return notices;
}

namespace {
// Whom the access tab asks about first on a server item: the account the window logged in
// with, otherwise the item's owner.
CBIdentity serverAccountToAsk(const QUrl &url, const MGAclList &list)
{
    if (const std::optional<MGServerCredentials> login = MGServerLogins::forUrl(url); login && !login->isEmpty())
        return CBIdentity::principal(QString(), login->domain().isEmpty() ? login->user()
                                                                           : login->domain() + QLatin1Char('\\') + login->user());
    for (const MGAclItem &item : list) {
        if (const MGAclEntry *entry = MGAclLists::entryOf(item); entry && entry->kind() == MGAclEntry::Kind::Owner)
            return entry->identity();
    }
    return CBIdentity();
}
}

void MGAclPlugin::updateEntries()
{
    const Pointer self = shared_from_this();
    // Taken before the read: a change after it is seen as one.
    const MGAclItemStamp stamp = MGAclItemStamp::of(url());
    getEntriesWithUrl(url(), [self, stamp](std::optional<MGAclList> list, MGResultError error) {
        if (list) {
            // Asked here, off the main thread: it touches the file system.
            const ItemNotices notices = self->itemNotices();
            MGMainQueue::async([self, list = *list, stamp, notices] {
                // A server item is a folder or a file as its entries say.
                if (MGItemPaths::isServerUrl(self->url())) {
                    const bool directory = MGAclLists::isDirectoryList(list);
                    rememberKind(self->url(), directory);
                    self->m_session->setDirectory(directory);
                    if (!self->identity().isPrincipal())
                        self->setIdentity(serverAccountToAsk(self->url(), list));
                }
                self->m_aclUnavailable = notices.noAcls;
                self->m_session->installRead(list, stamp);
                self->m_session->setItemNotices(notices.blocked, notices.asksAuthorisation, notices.noAcls);
            });
            self->queue()->async([self, polling = !notices.blocked.isEmpty()] {
                if (self->m_watch)
                    self->m_watch->setPolling(polling);
            });
        } else if (error) {
            self->showError(*error);
        }
    });
}

void MGAclPlugin::itemChanged()
{
    // On the work queue. Events of other items in the folder count for nothing: only what the
    // item itself became since it was read.
    const MGAclItemStamp now = MGAclItemStamp::of(url());
    const MGAclItemStamp::Difference difference = m_session->readStamp().to(now);
    const ItemNotices notices = itemNotices();
    m_watch->setPolling(!notices.blocked.isEmpty());
    const Pointer self = shared_from_this();
    MGMainQueue::async([self, difference, notices] {
        MGAclEditSession *session = self->m_session;
        const bool blockLifted = session->isBlocked() && notices.blocked.isEmpty();
        session->setItemNotices(notices.blocked, notices.asksAuthorisation, notices.noAcls);
        // An unedited list follows the disk, the item replaced under its name included (an
        // editor saves so); an edited one is kept, nothing is written to another item, and
        // the bar says why.
        const bool follows = difference == MGAclItemStamp::Difference::Changed
            || difference == MGAclItemStamp::Difference::Replaced || blockLifted;
        if (follows && !session->isEdited())
            self->reload();
        else if (difference != MGAclItemStamp::Difference::None)
            session->setDiskChange(difference);
    });
    // The access tab shows what the item allows now (the watch waited for the burst to end).
    if (m_accessShown)
        updateAccess();
}

MGAclList MGAclPlugin::entries() const
{
    Q_ASSERT(!QCoreApplication::instance() || QThread::currentThread() == QCoreApplication::instance()->thread());
    return m_session->entries();
}

void MGAclPlugin::setEntries(const MGAclList &entries)
{
    m_session->place(entries);
}

void MGAclPlugin::showEdited()
{
    const bool edited = m_session->isEdited();
    if (MGWindow *window = this->window())
        window->setWindowModified(edited);
    // "As edited" means nothing without edits: it ends with them.
    if (!edited && m_accessAsEdited)
        setShowsAccessAsEdited(false);
    emit MGAclDocument::editedChanged();
}

void MGAclPlugin::setShowsAccessAsEdited(bool asEdited)
{
    if (asEdited == m_accessAsEdited)
        return;
    m_accessAsEdited = asEdited;
    const Pointer self = shared_from_this();
    queue()->async([self] { self->updateAccess(); });
    emit accessChanged();
}

void MGAclPlugin::observeValueForKeyPath(const QString &keyPath, QObject *object)
{
    if (keyPath == QLatin1String("selectedTabViewItemIndex"))
        reactToSelectedTab(static_cast<MGTabViewController *>(object)->selectedTabViewItemIndex());
}

void MGAclPlugin::tabViewIndexDidChange(int index)
{
    reactToSelectedTab(index);
}

void MGAclPlugin::reactToSelectedTab(int index)
{
    m_accessShown = index == 1;
    if (index != 1)
        return setCanUpdateAccess(true);
    const Pointer self = shared_from_this();
    queue()->async([self] { self->updateAccess(); });
}

QList<MGTreeNode::Pointer> MGAclPlugin::access() const
{
    QMutexLocker locker(&m_stateLock);
    return m_access;
}

void MGAclPlugin::setAccess(const QList<MGTreeNode::Pointer> &access)
{
    {
        QMutexLocker locker(&m_stateLock);
        m_access = access;
    }
    emit accessChanged();
}

CBIdentity MGAclPlugin::identity() const
{
    QMutexLocker locker(&m_stateLock);
    return m_identity;
}

void MGAclPlugin::setIdentity(const CBIdentity &identity)
{
    {
        QMutexLocker locker(&m_stateLock);
        m_identity = identity;
    }
    emit identityChanged();
    const Pointer self = shared_from_this();
    queue()->async([self] { self->updateAccess(); });
}

QVariantList MGAclPlugin::identities() const
{
    return MGIdentities::sharedIdentities()->fullNamedIdentities();
}

void MGAclPlugin::identitiesUpdated()
{
    emit identitiesChanged();
}

void MGAclPlugin::updateAccess()
{
    // The gate is tested and closed only here, on the serial work queue.
    if (!m_canUpdateAccess)
        return;
    m_canUpdateAccess = false;
    const Pointer self = shared_from_this();
    // As edited only while there are edits: otherwise it is the item as saved.
    std::optional<MGAclList> edited;
    if (m_accessAsEdited) {
        const MGAclList list = entriesSnapshot();
        if (!MGAclLists::isEqualToList(list, revertedEntries()))
            edited = list;
    }
    // A file server's account is asked about by name, beside a UUID made for it.
    const CBIdentity who = identity();
    const QUuid uuid = who.isPrincipal() ? MGServerAccounts::uuidFor(who) : who.uniqueIdentifier();
    getAccessWithUrl(url(), uuid, [self](auto access, MGResultError error, const auto &notes) {
        if (access) {
            MGMainQueue::async([self, access = *access, notes] {
                self->m_accessBlockedBy = notes.blockedBy;
                self->m_accessCaveat = notes.caveat;
                self->setAccess(access);
            });
            self->setCanUpdateAccess(true);
        } else if (error) {
            self->showError(*error);
        }
    }, edited);
}

void MGAclPlugin::showError(const MGError &error)
{
    const Pointer self = shared_from_this();
    MGMainQueue::async([self, error] { MGErrorAlert::showWithWindow(error, self->window()); });
}

void MGAclPlugin::reloadFromDisk()
{
    reload();
}

void MGAclPlugin::keepEditsOverDisk()
{
    // What is on disk now becomes what the edits are compared with and written over.
    const Pointer self = shared_from_this();
    queue()->async([self] {
        const MGAclItemStamp stamp = MGAclItemStamp::of(self->url());
        self->getEntriesWithUrl(self->url(), [self, stamp](std::optional<MGAclList> list, MGResultError error) {
            if (!list) {
                if (error)
                    self->showError(*error);
                return;
            }
            MGMainQueue::async([self, list = *list, stamp] { self->m_session->setRead(list, stamp); });
        });
    });
}

void MGAclPlugin::restoreDiscardedEdits()
{
    m_session->restoreDiscardedEdits();
}
