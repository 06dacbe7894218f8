#pragma once

#include "MGViewController.h"

#include <QTabWidget>

// A tab view whose tabs are the views of its child view controllers; the selected tab is
// observable as "selectedTabViewItemIndex".
class MGTabViewController : public MGViewController
{
    Q_OBJECT
    Q_PROPERTY(int selectedTabViewItemIndex READ selectedTabViewItemIndex WRITE setSelectedTabViewItemIndex NOTIFY
                   selectedTabViewItemIndexChanged)
public:
    explicit MGTabViewController(QObject *parent = nullptr);

    void addChildViewController(MGViewController *child);
    const QList<MGViewController *> &childViewControllers() const { return m_children; }
    int selectedTabViewItemIndex() const;
    void setSelectedTabViewItemIndex(int index);
    QTabWidget *tabView() { return static_cast<QTabWidget *>(view()); }

signals:
    void selectedTabViewItemIndexChanged(int index);

private slots:
    // Puts the focus in the tab shown, unless it is there already.
    void focusSelectedTab();

protected:
    QWidget *loadView() override;

private:
    QList<MGViewController *> m_children;
};
