#include "MGAclPlugin.h"

#include "MGAclEntriesWatch.h"
#include "MGAclSupport.h"
#include "MGChangeBlockers.h"
#include "MGErrorAlert.h"
#include "MGIdentities.h"
#include "MGItemPaths.h"
#include "NTLocalizedString.h"
#include "MGTabViewController.h"
#include "MGUrlResources.h"
#include "MGWindowController.h"

#include <QFileIconProvider>
#include <QCoreApplication>
#include <QFileInfo>
#include <QThread>
#include <QTimer>
#include <sys/stat.h>
#include <unistd.h>

QUrl MGAclPlugin::url() const
{
    QMutexLocker locker(&m_stateLock);
    return m_url;
}

void MGAclPlugin::setUrl(const QUrl &url)
{
    {
        QMutexLocker locker(&m_stateLock);
        m_url = url;
    }
    const Pointer self = shared_from_this();
    const bool entriesShown = !m_tabViewController || m_tabViewController->selectedTabViewItemIndex() != 1;
    queue()->async([self, url, entriesShown] {
        self->updateEntries();
        self->watchEntries(entriesShown);
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

void MGAclPlugin::stampRead()
{
    // Taken before the read: a change after it is seen as one.
    ReadStamp stamp;
    struct stat status {};
    if (::stat(MGItemPaths::nativePath(url()).constData(), &status) == 0)
        stamp = {true, status.st_dev, status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
    QMutexLocker locker(&m_stateLock);
    m_readStamp = stamp;
}

MGAclPlugin::DiskChange MGAclPlugin::diskChangeSinceRead() const
{
    ReadStamp read;
    {
        QMutexLocker locker(&m_stateLock);
        read = m_readStamp;
    }
    struct stat now {};
    if (::stat(MGItemPaths::nativePath(url()).constData(), &now) != 0)
        return read.known ? DiskChange::Gone : DiskChange::None;
    // Owner, mode and ACL changes all set the change time; a replaced item is another inode.
    const bool same = read.known && now.st_dev == read.device && now.st_ino == read.inode
        && now.st_ctim.tv_sec == read.changedSeconds && now.st_ctim.tv_nsec == read.changedNanoseconds;
    return same ? DiskChange::None : DiskChange::Changed;
}

void MGAclPlugin::updateEntries()
{
    const Pointer self = shared_from_this();
    stampRead();
    getEntriesWithUrl(url(), [self](std::optional<MGAclList> list, MGResultError error) {
        if (list) {
            self->setRevertedEntries(MGAclLists::deepCopy(*list));
            // Asked here, off the main thread: it touches the file system.
            const QString unavailable = MGAclSupport::unavailableReason(self->url());
            const auto [blocked, asksAuthorisation] = self->changeNotices();
            MGMainQueue::async([self, list = *list, unavailable, blocked, asksAuthorisation] {
                self->m_aclUnavailable = unavailable;
                self->m_changeBlocked = blocked;
                self->m_asksAuthorisation = asksAuthorisation;
                self->m_changedOnDisk = self->m_gone = false;
                self->setEntries(list);
                emit self->noticeChanged();
            });
        } else if (error) {
            self->showError(*error);
        }
    });
}

MGAclList MGAclPlugin::entries() const
{
    Q_ASSERT(!QCoreApplication::instance() || QThread::currentThread() == QCoreApplication::instance()->thread());
    return m_entries;
}

MGAclList MGAclPlugin::entriesSnapshot() const
{
    QMutexLocker locker(&m_stateLock);
    return MGAclLists::deepCopy(m_snapshot);
}

void MGAclPlugin::publishSnapshot()
{
    // Copies by value: the snapshot's entries are the work queue's, never edited in place.
    MGAclList snapshot;
    snapshot.reserve(m_entries.size());
    for (const MGAclItem &item : std::as_const(m_entries)) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        snapshot << (entry ? MGAclItem(entry->copy()) : item);
    }
    QMutexLocker locker(&m_stateLock);
    m_snapshot = std::move(snapshot);
}

void MGAclPlugin::publishEntry(const MGAclEntry *entry)
{
    // One entry changed in place: only its copy is replaced.
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        if (MGAclLists::entryOf(m_entries.at(i)) != entry)
            continue;
        MGAclEntry::Pointer copy = entry->copy();
        QMutexLocker locker(&m_stateLock);
        if (i < m_snapshot.size())
            m_snapshot[i] = std::move(copy);
        return;
    }
}

void MGAclPlugin::setEntries(const MGAclList &entries)
{
    for (const MGAclItem &item : std::as_const(m_entries)) {
        if (MGAclEntry *entry = MGAclLists::entryOf(item))
            entry->removeObserver(this);
    }
    m_entries = entries;
    for (const MGAclItem &item : entries) {
        if (MGAclEntry *entry = MGAclLists::entryOf(item))
            entry->addObserver(this);
    }
    if (MGAclLists::isEqualToList(entries, revertedEntries()))
        m_accessMaskSet = m_defaultMaskSet = false; // as read: nobody has set a mask
    updateMasks();
    publishSnapshot();
    setAclEntries(std::nullopt);
    setCanRevertEntries(!MGAclLists::isEqualToList(entries, revertedEntries()));
    emit entriesChanged();
}

QList<MGAclEntry::Pointer> MGAclPlugin::aclEntries()
{
    if (!m_aclEntries)
        m_aclEntries = MGAclLists::aclEntries(m_entries);
    return *m_aclEntries;
}

void MGAclPlugin::setAclEntries(std::optional<QList<MGAclEntry::Pointer>> entries)
{
    m_aclEntries = std::move(entries);
}

MGAclList MGAclPlugin::revertedEntries() const
{
    QMutexLocker locker(&m_stateLock);
    return m_revertedEntries;
}

void MGAclPlugin::setRevertedEntries(const MGAclList &entries)
{
    QMutexLocker locker(&m_stateLock);
    m_revertedEntries = entries;
}

void MGAclPlugin::setCanRevertEntries(bool canRevert)
{
    const bool changed = canRevert != m_canRevertEntries;
    m_canRevertEntries = canRevert;
    if (MGWindow *window = this->window())
        window->setWindowModified(canRevert);
    if (changed)
        emit editedChanged();
    // The access the edited list would give follows each edit, half a second after it.
    if (m_accessAsEdited && m_timer)
        QMetaObject::invokeMethod(m_timer, [timer = m_timer] { timer->start(500); }, Qt::AutoConnection);
}

void MGAclPlugin::setShowsAccessAsEdited(bool asEdited)
{
    if (asEdited == m_accessAsEdited)
        return;
    m_accessAsEdited = asEdited;
    const Pointer self = shared_from_this();
    queue()->async([self] { self->updateAccess(); });
}

void MGAclPlugin::observeValueForKeyPath(const QString &keyPath, QObject *object)
{
    if (keyPath == QLatin1String("selectedTabViewItemIndex")) {
        reactToSelectedTab(static_cast<MGTabViewController *>(object)->selectedTabViewItemIndex());
        return;
    }
    // An entry of the list changed in place: what follows from it is done once, for the key
    // that was set.
    const auto *entry = qobject_cast<MGAclEntry *>(object);
    if (entry && !entry->isEditKey(keyPath))
        return;
    if (entry && !m_updatingMasks) {
        if (entry->isMask())
            (entry->isAcl() ? m_defaultMaskSet : m_accessMaskSet) = true;
        else
            updateMasks();
    }
    if (entry)
        publishEntry(entry);
    else
        publishSnapshot();
    setCanRevertEntries(!MGAclLists::isEqualToList(entries(), revertedEntries()));
}

void MGAclPlugin::tabViewIndexDidChange(int index)
{
    reactToSelectedTab(index);
}

void MGAclPlugin::reactToSelectedTab(int index)
{
    const Pointer self = shared_from_this();
    queue()->async([self, index] {
        if (index == 1) {
            self->updateAccess();
            // The item itself reports changes of its owner, mode and ACL; its folder
            // reports the item being replaced or removed.
            const QByteArray path = MGItemPaths::nativePath(self->url());
            delete self->m_fileEventer;
            self->m_fileEventer = new MGFileEventer(self.get(), {path, MGItemPaths::parentPath(path)}, false,
                                                    self->queue()->context());
        } else {
            delete self->m_fileEventer;
            self->setCanUpdateAccess(true);
        }
        self->watchEntries(index != 1);
    });
}

void MGAclPlugin::watchEntries(bool watch)
{
    delete m_entriesWatch;
    if (!watch || url().isEmpty())
        return;
    // While the entries are shown and not edited, a change made elsewhere is shown too; an
    // edited list is kept, and the window says the item changed (or went away). The folder's
    // events include every other item in it: only a change of the item itself counts.
    const std::weak_ptr<MGAclPlugin> weak = shared_from_this();
    m_entriesWatch = new MGAclEntriesWatch(MGItemPaths::nativePath(url()), [weak] {
        const Pointer watcher = weak.lock();
        const DiskChange change = watcher ? watcher->diskChangeSinceRead() : DiskChange::None;
        if (change == DiskChange::None)
            return;
        MGMainQueue::async([weak, change] {
            const Pointer self = weak.lock();
            if (!self)
                return;
            if (change == DiskChange::Gone) {
                self->m_gone = true;
                emit self->noticeChanged();
            } else if (!self->canRevertEntries()) {
                self->reload();
            } else if (!self->m_changedOnDisk) {
                self->m_changedOnDisk = true;
                emit self->noticeChanged();
            }
        });
    }, queue()->context());
}

void MGAclPlugin::fileSystemEventHappenedAtPaths(const QStringList &)
{
    // Each event moves the refresh to 0.5 s after it, so a burst gives one refresh.
    QMetaObject::invokeMethod(m_timer, [timer = m_timer] { timer->start(500); }, Qt::AutoConnection);
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
    getAccessWithUrl(url(), identity().uniqueIdentifier(), [self](auto access, MGResultError error, const QString &blockedBy) {
        if (access) {
            MGMainQueue::async([self, access = *access, blockedBy] {
                self->m_accessBlockedBy = blockedBy;
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

std::pair<QString, QString> MGAclPlugin::changeNotices() const
{
    const QByteArray path = MGItemPaths::nativePath(url());
    const QString shown = MGItemPaths::shownPath(url());
    if (const MGResultError blocked = MGChangeBlockers::checkPath(path, MGChangeBlockers::ChangeFailure, shown))
        return {blocked->localizedDescription(), QString()};
    struct stat status {};
    if (::stat(path.constData(), &status) == 0 && getuid() != 0 && status.st_uid != getuid())
        return {QString(), NTLocalizedString::localize(QStringLiteral("You do not own \u201c%1\u201d: saving asks for an "
                                                                      "administrator\u2019s authorisation."),
                                                       QStringLiteral("ACL"))
                               .arg(shown)};
    return {};
}

MGAclDocument::Notice MGAclPlugin::notice() const
{
    if (m_gone)
        return {Notice::Gone, NTLocalizedString::localize(QStringLiteral("\u201c%1\u201d was deleted or moved away: there "
                                                                         "is nothing here to save to."),
                                                          QStringLiteral("ACL"))
                                  .arg(MGItemPaths::shownPath(url()))};
    if (!m_changeBlocked.isEmpty())
        return {Notice::Blocked, m_changeBlocked};
    if (m_changedOnDisk)
        return {Notice::ChangedOnDisk,
                NTLocalizedString::localize(QStringLiteral("\u201c%1\u201d was changed on disk since it was read."),
                                            QStringLiteral("ACL"))
                    .arg(MGItemPaths::shownPath(url()))};
    if (!m_aclUnavailable.isEmpty())
        return {Notice::NoAcls, m_aclUnavailable};
    if (!m_asksAuthorisation.isEmpty())
        return {Notice::AsksAuthorisation, m_asksAuthorisation};
    return {};
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
        self->stampRead();
        self->getEntriesWithUrl(self->url(), [self](std::optional<MGAclList> list, MGResultError error) {
            if (!list) {
                if (error)
                    self->showError(*error);
                return;
            }
            self->setRevertedEntries(MGAclLists::deepCopy(*list));
            MGMainQueue::async([self] {
                self->m_changedOnDisk = false;
                self->setCanRevertEntries(!MGAclLists::isEqualToList(self->entries(), self->revertedEntries()));
                emit self->noticeChanged();
            });
        });
    });
}
