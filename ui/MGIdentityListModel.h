#pragma once

#include "CBIdentity.h"

#include <QAbstractListModel>
#include <QVariantList>
#include <functional>

// The users and groups to choose from, as one list model that every chooser of every window
// shows through a filter of its own: read once, and read again when the account database
// changes (so accounts created after a window opened appear). Rows are identity lists'
// items: identities, section titles (shown, not choosable) and "-----" placeholders, which
// the model answers as separators. Main thread only.
class MGIdentityListModel : public QAbstractListModel
{
    Q_OBJECT
public:
    // The identity a row holds (a CBIdentity), or the title string.
    static constexpr int ItemRole = Qt::UserRole;

    // The application's one list, following MGIdentities.
    static MGIdentityListModel *sharedModel();

    explicit MGIdentityListModel(const QVariantList &items = {}, QObject *parent = nullptr);
    void setItems(const QVariantList &items);
    const QVariantList &items() const;

    // "Full Name (login)", or the login alone.
    static QString titleFor(const CBIdentity &identity);
    static bool isIdentity(const QVariant &item) { return item.metaType() == QMetaType::fromType<CBIdentity>(); }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    // Takes the list that is being read, once it is there.
    void load() const;

    mutable QVariantList m_items;
    mutable std::function<QVariantList()> m_pending;
};
