#pragma once

#include "MGAclDocument.h"
#include "MGAclList.h"

#include <QAbstractTableModel>
#include <QPointer>
#include <optional>

namespace MGPosixRules {
class IdentityUse;
}

// The rows of the entries table and the only way the table edits them: one row per item of
// an entry list, which the model holds as a value. A new list is taken over as the row
// changes that lead to it (inserted, removed and moved rows, changed cells), so the table
// keeps its selection and scroll position; an entry changed in place updates its row.
//
// setData() changes an entry in place (who it is for, allow or deny, its permission group,
// where it applies), which the plug-in object hears through its observation of the entries;
// list operations (moves by drag and drop) go to the document. Section titles are group rows
// that cannot be selected; values are shown through the registered value transformers.
class MGAclEntriesTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { TagColumn, IdentityColumn, PermissionGroupColumn, AppliesToColumn, InheritedColumn, ColumnCount };
    enum Role {
        // A section title's text; group rows draw it themselves, so it is no display text.
        TitleRole = Qt::UserRole + 1,
        TagRole, // the entry's tag code
        IdentityRole, // a CBIdentity
        PermissionGroupRole, // the permission group's code
        PermissionsRole, // the permission bits
        LettersRole, // "rw-" for entries kept in POSIX ACLs; empty otherwise
        AppliesToRole, // int(MGAclEntry::AppliesTo)
        InheritedRole, // bool
        MaskLimitRole, // the r/w/x bits the mask leaves of the entry where it takes some away; null otherwise
        MaskGainRole, // the r/w/x bits the entry grants only since its mask was raised; null otherwise
    };
    // The payload type of a dragged row (the row number as CBOR).
    static const QString RowMimeType;

    explicit MGAclEntriesTableModel(QObject *parent = nullptr);
    ~MGAclEntriesTableModel() override;

    // Where drops go (moves) and what the list was read as (for what a raised mask widens).
    void setDocument(MGAclDocument *document) { m_document = document; }
    // Nothing can be edited, moved or dropped while the item cannot be changed.
    void setReadOnly(bool readOnly);
    bool isReadOnly() const { return m_readOnly; }

    const MGAclList &list() const { return m_list; }
    void setList(const MGAclList &list);
    MGAclEntry *entryAt(int row) const;
    MGAclEntry::Pointer entryPointerAt(int row) const;
    // Who already has an entry; made once per list change.
    const MGPosixRules::IdentityUse &identityUse() const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
    Qt::DropActions supportedDragActions() const override { return Qt::MoveAction; }
    // Drops go into the ACL section only, from above its first entry to below its last;
    // `row` is the drop-above row (a drop on a row is a drop above it).
    bool canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                         const QModelIndex &parent) const override;
    bool dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                      const QModelIndex &parent) override;
    // The row a payload names; a payload without one (a link to a file) names row 0.
    static quint64 draggedRow(const QMimeData *data);

    bool isGroupRow(int row) const;

    // The permission group's name, with the r/w/x letters of an entry stored in a POSIX ACL
    // and, when a mask takes some of them away or was raised under it, what that does.
    QString permissionText(const MGAclEntry &entry) const;
    // The letters and the mask's effect alone ("rw-, limited to r--"); empty for an entry
    // that is not kept in a POSIX ACL.
    QString permissionDetail(const MGAclEntry &entry) const;
    static QString appliesToText(MGAclEntry::AppliesTo appliesTo);

signals:
    // "Custom…" was chosen for a row's permission group: its permissions are chosen one by one.
    void customPermissionsChosen(int row);

public slots:
    // An entry of the list changed in place.
    void observeValueForKeyPath(const QString &keyPath, QObject *object);

private:
    void observe(const MGAclList &list, bool on);
    void listChanged();
    const QHash<const MGAclEntry *, int> &gains() const;
    // The r/w/x bits of the mask that limits an entry for the item or for new items; masks
    // are found once per list or mask change.
    std::optional<int> limitingMask(const MGAclEntry &entry, bool forNewItems) const;
    // The r/w/x bits the mask leaves of an entry where it takes some away; nothing otherwise.
    // Without a place: where the entry applies (the item, if it applies there).
    std::optional<int> maskLimit(const MGAclEntry &entry) const;
    std::optional<int> maskLimit(const MGAclEntry &entry, bool forNewItems) const;
    void replaceRows(int first, int oldCount, const MGAclList &list);
    void rearrangeRows(const MGAclList &list);

    MGAclList m_list;
    QPointer<MGAclDocument> m_document;
    mutable std::unique_ptr<MGPosixRules::IdentityUse> m_identityUse;
    mutable std::optional<QHash<const MGAclEntry *, int>> m_gains;
    mutable std::optional<std::array<std::optional<int>, 2>> m_masks;
    bool m_readOnly = false;
};
