#include "MGAclPlugin.h"

#include "MGItemPaths.h"
#include "MGNtInheritance.h"
#include "MGPosixEdits.h"
#include "MGPosixLists.h"
#include "MGUrlResources.h"

// Every list operation follows one pattern: the change is worked out on a copy of the list
// on the work queue, then installed on the main thread with how it changed the list, so the
// table's rows move, come and go as the operation made them (MGAclEditSession::apply).

void MGAclPlugin::install(MGAclListOperations::Result result)
{
    const Pointer self = shared_from_this();
    MGMainQueue::async([self, result = std::move(result)] { self->m_session->apply(result.list, result.change); });
}

void MGAclPlugin::keepMask(QObject *)
{
    m_session->setKeepsMask(!m_session->keepsMask());
}

void MGAclPlugin::moveEntryAtIndex(qsizetype from, qsizetype toIndex)
{
    const Pointer self = shared_from_this();
    queue()->async([self, from, toIndex] {
        if (auto moved = MGAclListOperations::moved(self->entriesSnapshot(), from, toIndex))
            self->install(std::move(*moved));
    });
}

void MGAclPlugin::addEntry(const QVariant &row)
{
    const Pointer self = shared_from_this();
    const qint64 index = row.toLongLong() + 1;
    queue()->async([self, index] {
        const bool directory = resourceForKey(self->url(), NSURLIsDirectoryKey).toBool();
        self->install(MGAclListOperations::inserted(self->entriesSnapshot(), index == 0 ? 1 : index,
                                                    MGAclEntry::newEntryForDirectory(directory)));
    });
}

void MGAclPlugin::removeEntry(const QVariant &row)
{
    const Pointer self = shared_from_this();
    const quint64 index = row.toULongLong();
    queue()->async([self, index] { self->install(MGAclListOperations::removed(self->entriesSnapshot(), qsizetype(index))); });
}

void MGAclPlugin::revertEntries(QObject *)
{
    reload();
}

void MGAclPlugin::reload()
{
    const Pointer self = shared_from_this();
    queue()->async([self] { self->updateEntries(); });
}

void MGAclPlugin::sortEntriesCanonically(QObject *)
{
    const Pointer self = shared_from_this();
    queue()->async([self] { self->install(MGAclListOperations::sortedCanonically(self->entriesSnapshot())); });
}

void MGAclPlugin::removeInheritedEntries(QObject *)
{
    const Pointer self = shared_from_this();
    queue()->async([self] { self->install(MGAclListOperations::withoutInherited(self->entriesSnapshot())); });
}

void MGAclPlugin::makeInheritedEntriesExplicit(QObject *)
{
    // In place, through the session as any edit of an entry: each entry reports the change.
    const bool wasCanonical = m_session->isCanonical();
    for (int row = 0; row < m_session->rowCount(); ++row) {
        const MGAclEntry *entry = m_session->entryAt(row);
        if (entry && entry->isAcl() && entry->inherited())
            m_session->setData(m_session->index(row, MGAclEditSession::InheritedColumn), false,
                               MGAclEditSession::InheritedRole);
    }
    // A canonical list stays so: an inherited Deny made explicit moves up among the explicit
    // Deny entries, where a file server keeps it, each entry keeping its order within its kind.
    if (wasCanonical && !m_session->isCanonical())
        sortEntriesCanonically(this);
}

void MGAclPlugin::inheritEntriesFromParent(QObject *)
{
    const Pointer self = shared_from_this();
    queue()->async([self] {
        const QUrl parent = resourceForKey(self->url(), NSURLParentDirectoryURLKey).toUrl();
        if (!parent.isValid()) {
            // The root has no parent: its ACL is replaced by nothing.
            return self->install(MGAclListOperations::withAclEntries(self->entriesSnapshot(), {}));
        }
        self->getEntriesWithUrl(parent, [self](std::optional<MGAclList> list, MGResultError error) {
            if (error)
                return self->showError(*error);
            // A file server's item: what its server gives an item made in the folder now.
            if (MGItemPaths::isServerUrl(self->url())) {
                const MGResult<MGAclList> inherited = MGNtInheritance::listInheritedFrom(
                    list.value_or(MGAclList()), self->entriesSnapshot(), resourceForKey(self->url(), NSURLIsDirectoryKey).toBool());
                if (!inherited)
                    return self->showError(inherited.error());
                return MGMainQueue::async([self, list = *inherited] { self->m_session->place(list); });
            }
            // Exactly what the kernel gives an item of this kind created in the folder now.
            const QString path = MGItemPaths::shownPath(self->url());
            MGPosixItemState folderKind, itemKind;
            folderKind.mode = S_IFDIR;
            itemKind.mode = resourceForKey(self->url(), NSURLIsDirectoryKey).toBool() ? S_IFDIR : S_IFREG;
            const MGResult<MGPosixItemState> folder =
                MGPosixLists::stateFromList(list.value_or(MGAclList()), folderKind, path);
            // The item's own entries are replaced whatever they are, even ones POSIX cannot hold.
            const MGAclList current = MGAclListOperations::withAclEntries(self->entriesSnapshot(), {}).list;
            const MGResult<MGPosixItemState> own = MGPosixLists::stateFromList(current, itemKind, path);
            if (!folder)
                return self->showError(folder.error());
            if (!own)
                return self->showError(own.error());
            MGAclList inherited = MGPosixLists::listFromState(MGPosixEdits::inherit(*folder, *own, MGPosixEdits::currentUmask()));
            // Every entry now comes from the folder, and says so until it is saved (the bar
            // says that POSIX ACLs keep no such mark).
            for (const MGAclEntry::Pointer &entry : MGAclLists::aclEntries(inherited))
                entry->setInherited(true);
            // Put in whole: the masks are the folder's, limited as the kernel limits them.
            MGMainQueue::async([self, inherited] { self->m_session->place(inherited); });
        });
    });
}
