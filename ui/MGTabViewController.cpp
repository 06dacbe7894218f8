#include "MGTabViewController.h"

#include "MGAccessibleRoles.h"

#include <QAction>
#include <QTabBar>

MGTabViewController::MGTabViewController(QObject *parent) : MGViewController(parent)
{
}

QWidget *MGTabViewController::loadView()
{
    auto *tabs = new QTabWidget;
    tabs->setDocumentMode(true);
    connect(tabs, &QTabWidget::currentChanged, this, &MGTabViewController::selectedTabViewItemIndexChanged);
    // The usual keys for the next and the previous tab, wherever the focus is inside: a
    // table or a list would otherwise keep them for itself.
    const auto addSwitch = [this, tabs](const QList<QKeySequence> &keys, int step) {
        auto *item = new QAction(tabs);
        item->setShortcuts(keys);
        item->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        tabs->addAction(item);
        connect(item, &QAction::triggered, this, [tabs, step] {
            if (tabs->count() == 0)
                return;
            tabs->setCurrentIndex((tabs->currentIndex() + step + tabs->count()) % tabs->count());
        });
    };
    // Tabs switch by their keys (below) and the host's menu; the tab bar takes no focus, so
    // a focus left in the page just hidden follows into the page shown, once it is made.
    tabs->tabBar()->setFocusPolicy(Qt::NoFocus);
    connect(tabs, &QTabWidget::currentChanged, this, [this] {
        QMetaObject::invokeMethod(this, &MGTabViewController::focusSelectedTab, Qt::QueuedConnection);
    });
    addSwitch({QKeySequence(Qt::CTRL | Qt::Key_Tab), QKeySequence(Qt::CTRL | Qt::Key_PageDown)}, 1);
    addSwitch({QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Backtab), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Tab),
               QKeySequence(Qt::CTRL | Qt::Key_PageUp)},
              -1);
    return tabs;
}

void MGTabViewController::addChildViewController(MGViewController *child)
{
    child->setParent(this);
    m_children << child;
    // A page is a named pane: a screen reader entering it, by Ctrl+Tab as by a click, says
    // the tab's name before the control that takes the focus.
    const auto page = [child] {
        QWidget *view = child->view();
        MGAccessibleRoles::setRole(view, QAccessible::Pane);
        view->setAccessibleName(child->title());
        return view;
    };
    // Only the first tab's view is needed at once; the others are made when first shown.
    tabView()->addTab(m_children.size() == 1 ? page() : new QWidget, child->title());
    if (m_children.size() > 1) {
        const int index = int(m_children.size()) - 1;
        connect(tabView(), &QTabWidget::currentChanged, child, [this, child, index, page](int current) {
            if (current != index || tabView()->widget(index) == child->view())
                return;
            QWidget *placeholder = tabView()->widget(index);
            const QSignalBlocker blocker(tabView());
            tabView()->removeTab(index);
            tabView()->insertTab(index, page(), child->title());
            tabView()->setCurrentIndex(index);
            placeholder->deleteLater();
            child->view()->show();
        });
    }
}

void MGTabViewController::focusSelectedTab()
{
    QTabWidget *tabs = tabView();
    QWidget *page = tabs->currentWidget();
    QWidget *focus = tabs->window()->focusWidget();
    if (!page || (focus && page->isAncestorOf(focus)))
        return;
    // The first control of the page that Tab reaches.
    for (QWidget *w = page->nextInFocusChain(); w && w != page; w = w->nextInFocusChain()) {
        if (page->isAncestorOf(w) && w->isVisibleTo(page) && w->isEnabled() && (w->focusPolicy() & Qt::TabFocus)) {
            w->setFocus(Qt::TabFocusReason);
            return;
        }
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
