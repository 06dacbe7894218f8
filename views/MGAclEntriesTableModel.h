#pragma once

#include "MGAclDocument.h"
#include "MGAclEditSession.h"

#include <QIdentityProxyModel>
#include <QPointer>

// The entries table's model: the edit session (MGAclEditSession) as the table shows it. Rows,
// values and edits are the session's own, passed through unchanged (setData, insertRows,
// removeRows and moveRows go to the session); this adds what a person reads (the display
// texts, through the registered value transformers, and what a mask does to an entry) and
// how rows are dragged and dropped (a drop is a move the document makes).
class MGAclEntriesTableModel : public QIdentityProxyModel
{
    Q_OBJECT
public:
    using Column = MGAclEditSession::Column;
    static constexpr int TagColumn = MGAclEditSession::TagColumn, IdentityColumn = MGAclEditSession::IdentityColumn,
                         PermissionGroupColumn = MGAclEditSession::PermissionGroupColumn,
                         AppliesToColumn = MGAclEditSession::AppliesToColumn,
                         InheritedColumn = MGAclEditSession::InheritedColumn, ColumnCount = MGAclEditSession::ColumnCount;
    using Role = MGAclEditSession::Role;
    static constexpr int TitleRole = MGAclEditSession::TitleRole, TagRole = MGAclEditSession::TagRole,
                         IdentityRole = MGAclEditSession::IdentityRole,
                         PermissionGroupRole = MGAclEditSession::PermissionGroupRole,
                         PermissionsRole = MGAclEditSession::PermissionsRole, LettersRole = MGAclEditSession::LettersRole,
                         AppliesToRole = MGAclEditSession::AppliesToRole, InheritedRole = MGAclEditSession::InheritedRole,
                         MaskLimitRole = MGAclEditSession::MaskLimitRole, MaskGainRole = MGAclEditSession::MaskGainRole;
    // The payload type of a dragged row (the row number as CBOR).
    static const QString RowMimeType;

    explicit MGAclEntriesTableModel(MGAclEditSession *session, QObject *parent = nullptr);

    MGAclEditSession *session() const { return m_session; }
    // Whether the table has the "Applies to" column (a folder's does; a file's has four
    // columns, so that a screen reader counts what is shown).
    void setAppliesToShown(bool shown);
    bool appliesToShown() const { return m_appliesToShown; }
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    // Where drops go (moves).
    void setDocument(MGAclDocument *document) { m_document = document; }
    bool isReadOnly() const { return m_session->isReadOnly(); }
    const MGAclList &list() const { return m_session->entries(); }
    MGAclEntry *entryAt(int row) const { return m_session->entryAt(row); }
    MGAclEntry::Pointer entryPointerAt(int row) const { return m_session->entryPointerAt(row); }
    const MGPosixRules::IdentityUse &identityUse() const { return m_session->identityUse(); }
    bool isGroupRow(int row) const { return m_session->isGroupRow(row); }

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

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

    // The permission group's name, with the r/w/x letters of an entry stored in a POSIX ACL
    // and, when a mask takes some of them away or was raised under it, what that does.
    QString permissionText(const MGAclEntry &entry) const;
    // The letters and the mask's effect alone ("rw-, limited to r--"); empty for an entry
    // that is not kept in a POSIX ACL.
    QString permissionDetail(const MGAclEntry &entry) const;
    static QString appliesToText(MGAclEntry::AppliesTo appliesTo);
    // Where a file server's entry of a folder applies, in words, from all its inheritance
    // flags (files and subfolders apart, the folder itself or not, one level down or all).
    static QString inheritanceText(quint32 flags);
    // The places a pop-up offers an entry, as its text and the value the edit session takes
    // (MGAclEditSession::AppliesToColumn), and the value of the place it has now: a POSIX
    // entry's three, a file server's entry every combination of its inheritance flags.
    static QList<std::pair<QString, int>> places(const MGAclEntry &entry);
    static int currentPlace(const MGAclEntry &entry);

signals:
    // "Custom…" was chosen for a row's permission group: its permissions are chosen one by one.
    void customPermissionsChosen(int row);

private:
    bool m_appliesToShown = true;
    MGAclEditSession *m_session;
    QPointer<MGAclDocument> m_document;
};
