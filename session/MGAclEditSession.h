#pragma once

#include "MGAclItemStamp.h"
#include "MGAclListChange.h"
#include "MGPosixRules.h"

#include <QAbstractTableModel>
#include <QMutex>
#include <QUrl>
#include <array>
#include <memory>
#include <optional>

// One item's entry list while it is edited, with no widgets: the item (its URL, and the
// device and inode its list was read from), what was last read, the edited list, what keeps
// the item from being changed, and the rule the masks follow. It is the one model the
// window's table shows and edits (a table model: one row per item of the list, section
// titles included), and the one way an edit reaches the list:
//
//  - a cell (setData on the columns), the permission editor (PermissionsRole) and making an
//    entry explicit (InheritedRole) change an entry in place; the session hears every key the
//    entry announces, and each row shows what its entry holds;
//  - a list operation (which the plug-in object works out on a copy, on its work queue) is
//    installed with how it changed the list (apply), so rows move, come and go as it did;
//    insertRows, removeRows and moveRows do the same here and now;
//  - a list read from the item, or put in whole, replaces what differs.
//
// The masks follow the entries they limit only when such an entry is edited, added or
// removed, never when a list is read or put in whole: a list copied from elsewhere keeps its
// masks exactly. Main thread, except where a function says "any thread".
class MGAclEditSession : public QAbstractTableModel
{
    Q_OBJECT
public:
    // A place value (AppliesToColumn) of a file server's entry: this marker with the
    // entry's inheritance flags (MGAclFlag::Inheritance).
    static constexpr int InheritanceFlagsPlace = 0x100;
    // Where an entry applies is last: only folders have it, and a file's table leaves it out.
    enum Column { TagColumn, IdentityColumn, PermissionGroupColumn, InheritedColumn, AppliesToColumn, ColumnCount };
    enum Role {
        TitleRole = Qt::UserRole + 1, // a section title's text
        TagRole, // the entry's tag code
        IdentityRole, // a CBIdentity
        PermissionGroupRole, // the permission group's code
        PermissionsRole, // the permission bits; settable (the permission editor)
        LettersRole, // "rw-" for entries kept in POSIX ACLs; empty otherwise
        AppliesToRole, // int(MGAclEntry::AppliesTo)
        InheritedRole, // bool; settable to false (making an entry explicit)
        MaskLimitRole, // the r/w/x bits the mask leaves of the entry where it takes some away; null otherwise
        MaskGainRole, // the r/w/x bits the entry grants only since its mask was raised; null otherwise
    };

    // What the window says above the entries about the item itself, most urgent first.
    struct Notice
    {
        enum Kind {
            None,
            AsksAuthorisation, // saving will ask for an administrator's authorisation
            InheritedNotKept, // entries marked inherited will be kept as explicit ones
            NoAcls, // its file system keeps no ACLs: only the permission bits can be changed
            ChangedOnDisk, // changed elsewhere while the list is edited: reload, or keep the edits
            EditsDiscarded, // a save was refused and the list read again: the edits can be had back
            Blocked, // nobody can change it (a mark, a read-only mount, its kind): editing is off
            Replaced, // another item now has its name: nothing is written there unasked
            Gone, // deleted or moved away: nothing can be saved
        };
        Kind kind = None;
        QString text;
    };

    explicit MGAclEditSession(QObject *parent = nullptr);
    ~MGAclEditSession() override;

    // The item; any thread.
    QUrl url() const;
    void setUrl(const QUrl &url);
    // Whether the item is a folder (what a new entry is made for, where entries may apply).
    bool isDirectory() const { return m_directory; }
    void setDirectory(bool directory) { m_directory = directory; }
    // Whether the item's store keeps the inherited mark of an entry (POSIX ACLs do not).
    bool keepsInheritedMark() const { return m_keepsInheritedMark; }
    void setKeepsInheritedMark(bool keeps);

    // The list as shown, whose entries the session edits in place.
    const MGAclList &entries() const { return m_list; }
    // A copy of it whose entries nobody else holds, for other threads; any thread.
    MGAclList snapshot() const;
    // The list as last read from the item; any thread.
    MGAclList readEntries() const;
    // The item as it was when its list was read; any thread.
    MGAclItemStamp readStamp() const;
    // Whether the list differs from what was last read.
    bool isEdited() const { return m_edited; }
    MGAclEntry *entryAt(int row) const;
    MGAclEntry::Pointer entryPointerAt(int row) const;
    // The ACL's entries (rows 1 to n), made once per change of the list.
    QList<MGAclEntry::Pointer> aclEntries() const;
    bool hasInheritedEntries() const;
    bool isCanonical() const;

    // A list read from the item, read from `stamp`: what is shown and what edits are
    // compared with. Edits are dropped.
    void installRead(const MGAclList &list, const MGAclItemStamp &stamp);
    // What is on disk now becomes what the edits are compared with and written over; the
    // edits stay.
    void setRead(const MGAclList &list, const MGAclItemStamp &stamp);
    // An edited list put in whole (what the parent folder gives, edits given back).
    void place(const MGAclList &list);
    // The list after a list operation, with how it follows from the current one.
    void apply(const MGAclList &list, const MGAclListChange &change);

    // Keeping the masks as they are, whatever the entries they limit become.
    bool keepsMask() const { return m_keepsMask; }
    void setKeepsMask(bool keep);

    // Who already has an entry; made once per list change.
    const MGPosixRules::IdentityUse &identityUse() const;
    // The r/w/x bits of the mask that limits an entry for the item or for new items, where
    // it takes some of the entry's away; nothing otherwise. Without a place: where the entry
    // applies (the item, if it applies there).
    std::optional<int> maskLimit(const MGAclEntry &entry) const;
    std::optional<int> maskLimit(const MGAclEntry &entry, bool forNewItems) const;
    // The r/w/x bits an entry grants only since its mask was raised; 0 when none.
    int maskGain(const MGAclEntry &entry) const;

    // What keeps the item from being changed, what saving will ask, why it keeps no ACLs (each
    // empty when nothing): found where the item is read.
    void setItemNotices(const QString &blocked, const QString &asksAuthorisation, const QString &noAcls);
    // What the item became since it was read: changed while edited, replaced or gone.
    void setDiskChange(MGAclItemStamp::Difference difference);
    Notice notice() const;
    bool isBlocked() const { return !m_blocked.isEmpty(); }
    // Nothing can be edited while the item cannot be changed, or is not there.
    bool isReadOnly() const;

    // A save was refused and the item is read again: the edits are kept aside until the next
    // save, or given back.
    void keepDiscardedEdits(const MGAclList &edits);
    bool hasDiscardedEdits() const { return !m_discarded.isEmpty(); }
    void restoreDiscardedEdits();
    void forgetDiscardedEdits();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::EditRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    // New entries for the item (one for a folder, or for a file) inserted at `row`.
    bool insertRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;
    bool removeRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;
    bool moveRows(const QModelIndex &sourceParent, int sourceRow, int count, const QModelIndex &destinationParent,
                  int destinationChild) override;
    bool isGroupRow(int row) const;

signals:
    void editedChanged();
    void noticeChanged();
    // The list changed as a whole or in its rows (not when an entry changed in place).
    void listChanged();

public slots:
    // An entry of the list changed in place.
    void observeValueForKeyPath(const QString &keyPath, QObject *object);

private:
    void swapIn(const MGAclList &list, const MGAclListChange &change);
    void observe(const MGAclList &list, bool on);
    void listReplaced();
    void updateEdited();
    void publishSnapshot();
    void publishEntry(int row);
    // The masks after an edit of entries they limit (see followingMask).
    void followMasks();
    const QHash<const MGAclEntry *, int> &gains() const;
    int rowOf(const MGAclEntry *entry) const;

    mutable QMutex m_lock; // guards what other threads read: url, snapshot, read list, stamp
    QUrl m_url;
    MGAclList m_snapshot;
    MGAclList m_read;
    MGAclItemStamp m_stamp;

    MGAclList m_list;
    bool m_directory = false;
    bool m_keepsInheritedMark = false;
    bool m_edited = false;
    // The masks are as in this list until an entry they limit changes; then they follow.
    MGAclList m_maskBase;
    bool m_keepsMask = false;
    std::array<bool, 2> m_maskSetByHand = {false, false}; // the item's, the one passed on
    bool m_followingMasks = false;

    QString m_blocked, m_asksAuthorisation, m_noAcls;
    MGAclItemStamp::Difference m_disk = MGAclItemStamp::Difference::None;
    MGAclList m_discarded;

    mutable std::optional<QList<MGAclEntry::Pointer>> m_acl;
    mutable std::unique_ptr<MGPosixRules::IdentityUse> m_identityUse;
    mutable std::optional<QHash<const MGAclEntry *, int>> m_gains;
    mutable std::optional<std::array<std::optional<int>, 2>> m_masks;
    mutable QHash<const MGAclEntry *, int> m_rows;
};
