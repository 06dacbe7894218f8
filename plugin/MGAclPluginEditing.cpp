#include "MGAclPlugin.h"

#include "MGItemPaths.h"
#include "MGPosixEdits.h"
#include "MGPosixLists.h"

#include "MGPosixRules.h"
#include "MGUrlResources.h"

void MGAclPlugin::installOnMainQueue(MGAclList list)
{
    const Pointer self = shared_from_this();
    MGMainQueue::async([self, list = std::move(list)] { self->setEntries(list); });
}

void MGAclPlugin::updateMasks()
{
    // While the entries a mask covers are as they were read, the mask is as it was read;
    // once they change, it becomes what limits none of them, unless it was set by hand or
    // the user keeps it as it is.
    const MGAclList reverted = revertedEntries();
    m_updatingMasks = true;
    for (bool inheritable : {false, true}) {
        MGAclEntry *mask = MGPosixRules::maskEntry(m_entries, inheritable);
        if (!mask || (inheritable ? m_defaultMaskSet : m_accessMaskSet))
            continue;
        const MGAclEntry *original = MGPosixRules::maskEntry(reverted, inheritable);
        const auto originalBits = original ? MGAclPermissionSet::toPosixBits(original->permissions(), original->isDirectory())
                                           : std::nullopt;
        const int bits = MGPosixRules::followingMask(MGPosixRules::groupClass(reverted, inheritable),
                                                     MGPosixRules::groupClass(m_entries, inheritable), originalBits,
                                                     m_keepsMask);
        const quint32 permissions = MGAclPermissionSet::fromPosixBits(bits, mask->isDirectory());
        if (permissions != mask->permissions())
            mask->setPermissions(permissions);
    }
    m_updatingMasks = false;
}

void MGAclPlugin::keepMask(QObject *)
{
    m_keepsMask = !m_keepsMask;
    updateMasks();
    publishSnapshot();
    setCanRevertEntries(!MGAclLists::isEqualToList(entries(), revertedEntries()));
}

void MGAclPlugin::moveEntryAtIndex(qsizetype from, qsizetype toIndex)
{
    const Pointer self = shared_from_this();
    queue()->async([self, from, toIndex] {
        if (toIndex == from)
            return;
        MGAclList copy = self->entriesSnapshot();
        const MGAclItem item = copy.takeAt(from);
        // The drop row counts in the list before the removal.
        copy.insert(quint64(toIndex) < quint64(from) ? toIndex : toIndex - 1, item);
        self->installOnMainQueue(copy);
    });
}

void MGAclPlugin::addEntry(const QVariant &row)
{
    const Pointer self = shared_from_this();
    const qint64 index = row.toLongLong() + 1;
    queue()->async([self, index] {
        MGAclList copy = self->entriesSnapshot();
        const bool directory = resourceForKey(self->url(), NSURLIsDirectoryKey).toBool();
        copy.insert(index == 0 ? 1 : index, MGAclEntry::newEntryForDirectory(directory));
        self->installOnMainQueue(copy);
    });
}

void MGAclPlugin::removeEntry(const QVariant &row)
{
    const Pointer self = shared_from_this();
    const quint64 index = row.toULongLong();
    queue()->async([self, index] {
        MGAclList copy = self->entriesSnapshot();
        copy.removeAt(qsizetype(index));
        self->installOnMainQueue(copy);
    });
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

bool MGAclPlugin::hasInheritedEntries() const
{
    const MGAclList list = entries();
    return std::any_of(list.begin(), list.end(), [](const MGAclItem &item) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        return entry && entry->inherited();
    });
}

bool MGAclPlugin::isCanonical()
{
    const QList<MGAclEntry::Pointer> acl = aclEntries();
    if (acl.size() < 2)
        return true;
    qint64 previous = acl.first()->canonicalScore();
    for (const MGAclEntry::Pointer &entry : acl) {
        const qint64 score = entry->canonicalScore();
        if (previous < score)
            return false;
        previous = score;
    }
    return true;
}

namespace {
// The list with its ACL entries replaced by `acl`, at indexes 1 to n.
MGAclList withAclEntries(MGAclList list, const QList<MGAclEntry::Pointer> &old, const QList<MGAclEntry::Pointer> &acl)
{
    for (const MGAclEntry::Pointer &entry : old)
        list.removeIf([&](const MGAclItem &item) { return MGAclLists::itemsEqual(item, entry); });
    for (qsizetype i = 0; i < acl.size(); ++i)
        list.insert(1 + i, acl[i]);
    return list;
}
}

void MGAclPlugin::sortEntriesCanonically(QObject *)
{
    const Pointer self = shared_from_this();
    queue()->async([self] {
        const MGAclList list = self->entriesSnapshot();
        const QList<MGAclEntry::Pointer> acl = MGAclLists::aclEntries(list);
        QList<MGAclEntry::Pointer> sorted = acl;
        std::stable_sort(sorted.begin(), sorted.end(), [](const MGAclEntry::Pointer &a, const MGAclEntry::Pointer &b) {
            return a->canonicalScore() > b->canonicalScore();
        });
        self->installOnMainQueue(withAclEntries(list, acl, sorted));
    });
}

void MGAclPlugin::removeInheritedEntries(QObject *)
{
    const Pointer self = shared_from_this();
    queue()->async([self] {
        MGAclList copy = self->entriesSnapshot();
        for (const MGAclEntry::Pointer &entry : MGAclLists::aclEntries(copy)) {
            if (entry->inherited())
                copy.removeIf([&](const MGAclItem &item) { return MGAclLists::itemsEqual(item, entry); });
        }
        self->installOnMainQueue(copy);
    });
}

void MGAclPlugin::makeInheritedEntriesExplicit(QObject *)
{
    // In place: the entries report the change, which sets the edited mark.
    for (const MGAclEntry::Pointer &entry : aclEntries()) {
        if (entry->inherited())
            entry->setInherited(false);
    }
}

void MGAclPlugin::inheritEntriesFromParent(QObject *)
{
    const Pointer self = shared_from_this();
    queue()->async([self] {
        const QUrl parent = resourceForKey(self->url(), NSURLParentDirectoryURLKey).toUrl();
        if (!parent.isValid()) {
            // The root has no parent: its ACL is replaced by nothing.
            const MGAclList list = self->entriesSnapshot();
            self->installOnMainQueue(withAclEntries(list, MGAclLists::aclEntries(list), {}));
            return;
        }
        self->getEntriesWithUrl(parent, [self](std::optional<MGAclList> list, MGResultError error) {
            if (error)
                return self->showError(*error);
            // Exactly what the kernel gives an item of this kind created in the folder now.
            const QString path = MGItemPaths::shownPath(self->url());
            MGPosixItemState folderKind, itemKind;
            folderKind.mode = S_IFDIR;
            itemKind.mode = resourceForKey(self->url(), NSURLIsDirectoryKey).toBool() ? S_IFDIR : S_IFREG;
            const MGResult<MGPosixItemState> folder =
                MGPosixLists::stateFromList(list.value_or(MGAclList()), folderKind, path);
            // The item's own entries are replaced whatever they are, even ones POSIX cannot hold.
            const MGAclList current = self->entriesSnapshot();
            const MGResult<MGPosixItemState> own = MGPosixLists::stateFromList(
                withAclEntries(current, MGAclLists::aclEntries(current), {}), itemKind, path);
            if (!folder)
                return self->showError(folder.error());
            if (!own)
                return self->showError(own.error());
            MGAclList inherited = MGPosixLists::listFromState(MGPosixEdits::inherit(*folder, *own, MGPosixEdits::currentUmask()));
            // Every entry now comes from the folder, and says so until it is saved (POSIX
            // ACLs keep no such mark).
            for (const MGAclEntry::Pointer &entry : MGAclLists::aclEntries(inherited))
                entry->setInherited(true);
            MGMainQueue::async([self, inherited] {
                // The masks are the folder's, limited as the kernel limits them: set, not
                // following the entries.
                self->m_accessMaskSet = self->m_defaultMaskSet = true;
                self->setEntries(inherited);
            });
        });
    });
}
