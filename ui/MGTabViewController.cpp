#include "MGTabViewController.h"

MGTabViewController::MGTabViewController(QObject *parent) : MGViewController(parent)
{
}

QWidget *MGTabViewController::loadView()
{
    auto *tabs = new QTabWidget;
    tabs->setDocumentMode(true);
    connect(tabs, &QTabWidget::currentChanged, this, &MGTabViewController::selectedTabViewItemIndexChanged);
    return tabs;
}

void MGTabViewController::addChildViewController(MGViewController *child)
{
    child->setParent(this);
    m_children << child;
    // Only the first tab's view is needed at once; the others are made when first shown.
    tabView()->addTab(m_children.size() == 1 ? child->view() : new QWidget, child->title());
    if (m_children.size() > 1) {
        const int index = int(m_children.size()) - 1;
        connect(tabView(), &QTabWidget::currentChanged, child, [this, child, index](int current) {
            if (current != index || tabView()->widget(index) == child->view())
                return;
            QWidget *placeholder = tabView()->widget(index);
            const QSignalBlocker blocker(tabView());
            tabView()->removeTab(index);
            tabView()->insertTab(index, child->view(), child->title());
            tabView()->setCurrentIndex(index);
            placeholder->deleteLater();
            child->view()->show();
        });
    }
}

int MGTabViewController::selectedTabViewItemIndex() const
{
    return const_cast<MGTabViewController *>(this)->tabView()->currentIndex();
}

void MGTabViewController::setSelectedTabViewItemIndex(int index)
{
    tabView()->setCurrentIndex(index);
}
