#include "MGAclAccessViewController.h"

#include "CBIdentity.h"
#include "MGAclAccessTreeModel.h"
#include "MGAclDocument.h"
#include "MGIdentities.h"
#include "NTLocalizedString.h"
#include "NTLocalizedView.h"
#include "ui_MGAclAccessView.h"

#include <QComboBox>
#include <QHeaderView>
#include <QStandardItemModel>
#include <QTreeView>

MGAclAccessViewController::MGAclAccessViewController(MGAclDocument *acl) : m_acl(acl)
{
    setTitle(NTLocalizedString::localize(QStringLiteral("Effective Permissions"), QStringLiteral("ACL")));
    m_model = new MGAclAccessTreeModel(this);
    if (acl) {
        connect(acl, &MGAclDocument::accessChanged, this, &MGAclAccessViewController::accessChanged);
        connect(acl, &MGAclDocument::identitiesChanged, this, &MGAclAccessViewController::fillIdentities);
    }
}

MGAclAccessViewController::~MGAclAccessViewController()
{
    if (m_acl)
        disconnect(m_acl, nullptr, this, nullptr);
}

QWidget *MGAclAccessViewController::loadView()
{
    auto *view = new QWidget;
    Ui::MGAclAccessView ui;
    ui.setupUi(view);
    m_outlineView = ui.outlineView;
    m_identityPopUpButton = ui.identityPopUpButton;
    return view;
}

void MGAclAccessViewController::viewDidLoad()
{
    NTLocalizedView::localizeView(view(), QStringLiteral("ACL"));
    m_outlineView->setModel(m_model);
    m_outlineView->header()->setStretchLastSection(false);
    m_outlineView->header()->setSectionResizeMode(MGAclAccessTreeModel::TitleColumn, QHeaderView::Stretch);
    m_outlineView->header()->setSectionResizeMode(MGAclAccessTreeModel::AccessColumn, QHeaderView::ResizeToContents);
    connect(m_outlineView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MGAclAccessViewController::outlineViewSelectionDidChange);
    fillIdentities();
    connect(m_identityPopUpButton, &QComboBox::activated, this, [this](int index) {
        const QVariant chosen = m_identityPopUpButton->itemData(index);
        if (m_acl && chosen.canConvert<CBIdentity>() && chosen.metaType() == QMetaType::fromType<CBIdentity>())
            m_acl->setIdentity(chosen.value<CBIdentity>());
    });
    if (m_acl)
        m_model->setForest(m_acl->access());
    m_outlineView->expandAll();
}

void MGAclAccessViewController::fillIdentities()
{
    if (!m_identityPopUpButton || !m_acl)
        return;
    const QSignalBlocker blocker(m_identityPopUpButton);
    m_identityPopUpButton->clear();
    const CBIdentity current = m_acl->identity();
    for (const QVariant &item : m_acl->identities()) {
        if (item.metaType() == QMetaType::fromType<CBIdentity>()) {
            const CBIdentity identity = item.value<CBIdentity>();
            const QString full = identity.fullName();
            const QString shown = full != identity.displayName() ? QStringLiteral("%1 (%2)").arg(full, identity.displayName())
                                                                  : identity.displayName();
            m_identityPopUpButton->addItem(shown, item);
            if (identity == current)
                m_identityPopUpButton->setCurrentIndex(m_identityPopUpButton->count() - 1);
        } else {
            m_identityPopUpButton->addItem(item.toString(), item);
        }
    }
    menuNeedsUpdate(m_identityPopUpButton);
}

void MGAclAccessViewController::menuNeedsUpdate(QComboBox *menu)
{
    auto *model = qobject_cast<QStandardItemModel *>(menu->model());
    for (int i = 0; i < menu->count(); ++i) {
        if (menu->itemText(i) == QLatin1String(MGIdentities::SeparatorTitle)) {
            menu->removeItem(i);
            menu->insertSeparator(i);
            continue;
        }
        if (menu->itemData(i).metaType() != QMetaType::fromType<CBIdentity>() && model) {
            if (QStandardItem *item = model->item(i))
                item->setFlags(item->flags() & ~(Qt::ItemIsEnabled | Qt::ItemIsSelectable));
        }
    }
}

void MGAclAccessViewController::accessChanged()
{
    if (!m_outlineView) {
        // Not loaded yet: nothing to expand or select.
        m_selectedRow = 0;
        return;
    }
    m_model->setForest(m_acl ? m_acl->access() : QList<MGTreeNode::Pointer>());
    m_outlineView->expandAll();
    if (m_selectedRow > 0) {
        const QModelIndex index = m_model->indexForRow(m_selectedRow);
        if (index.isValid() && (m_model->flags(index) & Qt::ItemIsSelectable))
            m_outlineView->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
    outlineViewSelectionDidChange();
}

void MGAclAccessViewController::outlineViewSelectionDidChange()
{
    const QModelIndexList rows = m_outlineView ? m_outlineView->selectionModel()->selectedRows() : QModelIndexList();
    m_selectedRow = rows.isEmpty() ? -1 : m_model->rowForIndex(rows.first());
}
