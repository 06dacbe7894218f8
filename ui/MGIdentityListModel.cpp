#include "MGIdentityListModel.h"

#include "MGIdentities.h"
#include "MGImage.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>

namespace {
bool isSeparator(const QVariant &item)
{
    return !MGIdentityListModel::isIdentity(item) && item.toString() == QLatin1String(MGIdentities::SeparatorTitle);
}
}

MGIdentityListModel *MGIdentityListModel::sharedModel()
{
    static MGIdentityListModel *shared = [] {
        MGIdentities *identities = MGIdentities::sharedIdentities();
        auto *model = new MGIdentityListModel({}, QCoreApplication::instance());
        // A directory's thousands of accounts take a while to read: they are read when a
        // chooser first looks at the list, not while the window opens (a read in the
        // background would take a core from the reading of the item on a small machine).
        model->m_pending = [identities] { return identities->fullNamedIdentities(); };
        connect(identities, &MGIdentities::identitiesUpdated, model,
                [model, identities] { model->setItems(identities->fullNamedIdentities()); });
        return model;
    }();
    return shared;
}

MGIdentityListModel::MGIdentityListModel(const QVariantList &items, QObject *parent)
    : QAbstractListModel(parent), m_items(items)
{
}

void MGIdentityListModel::setItems(const QVariantList &items)
{
    beginResetModel();
    m_pending = nullptr;
    m_items = items;
    endResetModel();
}

const QVariantList &MGIdentityListModel::items() const
{
    load();
    return m_items;
}

void MGIdentityListModel::load() const
{
    if (m_pending) {
        m_items = m_pending();
        m_pending = nullptr;
    }
}

QString MGIdentityListModel::titleFor(const CBIdentity &identity)
{
    const QString full = identity.fullName();
    return full != identity.displayName() ? QStringLiteral("%1 (%2)").arg(full, identity.displayName())
                                          : identity.displayName();
}

int MGIdentityListModel::rowCount(const QModelIndex &parent) const
{
    load();
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant MGIdentityListModel::data(const QModelIndex &index, int role) const
{
    load();
    if (!index.isValid() || index.row() >= m_items.size())
        return {};
    const QVariant &item = m_items.at(index.row());
    if (role == ItemRole)
        return item;
    if (!isIdentity(item)) {
        if (role == Qt::AccessibleDescriptionRole && isSeparator(item))
            return QStringLiteral("separator");
        return role == Qt::DisplayRole && !isSeparator(item) ? item : QVariant();
    }
    const CBIdentity identity = item.value<CBIdentity>();
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return titleFor(identity);
    case Qt::DecorationRole:
        return identity.isGroup() ? MGImage::groupImage() : MGImage::userImage();
    case Qt::ToolTipRole:
        return NTLocalizedString::localize(identity.isGroup() ? QStringLiteral("Group") : QStringLiteral("User"),
                                           QStringLiteral("ACL"));
    default:
        return {};
    }
}

Qt::ItemFlags MGIdentityListModel::flags(const QModelIndex &index) const
{
    load();
    // Titles are shown but cannot be chosen; separators are lines.
    if (!index.isValid() || index.row() >= m_items.size() || !isIdentity(m_items.at(index.row())))
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}
