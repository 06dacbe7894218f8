#include "MGIdentityExclusionModel.h"

#include "MGIdentityListModel.h"

void MGIdentityExclusionModel::setExcluded(std::function<bool(const CBIdentity &)> excluded, const CBIdentity &kept)
{
    m_excluded = std::move(excluded);
    m_kept = kept;
    invalidateFilter();
}

qsizetype MGIdentityExclusionModel::excludedMatching(const std::function<bool(const CBIdentity &)> &match) const
{
    qsizetype count = 0;
    if (!m_excluded || !sourceModel())
        return 0;
    for (int row = 0, rows = sourceModel()->rowCount(); row < rows; ++row) {
        const QVariant value = sourceModel()->index(row, 0).data(MGIdentityListModel::ItemRole);
        if (!MGIdentityListModel::isIdentity(value))
            continue;
        const CBIdentity identity = value.value<CBIdentity>();
        if (identity != m_kept && m_excluded(identity) && match(identity))
            ++count;
    }
    return count;
}

bool MGIdentityExclusionModel::filterAcceptsRow(int row, const QModelIndex &parent) const
{
    if (!m_excluded)
        return true;
    const QVariant value = sourceModel()->index(row, 0, parent).data(MGIdentityListModel::ItemRole);
    if (!MGIdentityListModel::isIdentity(value))
        return true;
    const CBIdentity identity = value.value<CBIdentity>();
    return identity == m_kept || !m_excluded(identity);
}
