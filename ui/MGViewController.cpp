#include "MGViewController.h"

#include <QEvent>

MGViewController::MGViewController(QObject *parent) : QObject(parent)
{
}

MGViewController::~MGViewController()
{
    // The view belongs to whatever shows it (a tab); it outlives nothing it depends on.
    if (m_view)
        m_view->removeEventFilter(this);
}

QWidget *MGViewController::view()
{
    if (!m_view) {
        m_view = loadView();
        m_view->installEventFilter(this);
        viewDidLoad();
    }
    return m_view;
}

bool MGViewController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_view && event->type() == QEvent::Show)
        viewDidAppear();
    return QObject::eventFilter(watched, event);
}
