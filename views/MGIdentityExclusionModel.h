#pragma once

#include "CBIdentity.h"

#include <QSortFilterProxyModel>
#include <functional>

// The identities a button offers: its list without those its owner excludes.
class MGIdentityExclusionModel : public QSortFilterProxyModel
{
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

    // Leaves out whoever `excluded` names, but `kept` (the button's own choice).
    void setExcluded(std::function<bool(const CBIdentity &)> excluded, const CBIdentity &kept);
    // How many of the identities left out `match` answers true for (a search that would
    // have found them).
    qsizetype excludedMatching(const std::function<bool(const CBIdentity &)> &match) const;

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override;

private:
    std::function<bool(const CBIdentity &)> m_excluded;
    CBIdentity m_kept;
};
