#include "MGWindow.h"

#include "MGAccessibleRoles.h"

#include "MGItemPaths.h"
#include "MGViewController.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMenu>
#include <QMenuBar>
#include <QMetaMethod>
#include <QVBoxLayout>

MGWindow::MGWindow(MGViewController *controller) : QWidget(nullptr, Qt::Window), m_content(controller)
{
    MGAccessibleRoles::setRole(this, QAccessible::Window);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(controller->view());
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) {
        if (now && now->window() == this && !qobject_cast<QMenuBar *>(now) && !qobject_cast<QMenu *>(now))
            m_contentFocus = now;
    });
}

void MGWindow::addAccessoryView(QWidget *view, Qt::Edge edge)
{
    auto *box = static_cast<QVBoxLayout *>(layout());
    if (edge == Qt::TopEdge)
        box->insertWidget(box->indexOf(m_content->view()), view);
    else
        box->addWidget(view);
}

MGWindow *MGWindow::windowWithContentViewController(MGViewController *controller)
{
    return new MGWindow(controller);
}

bool MGWindow::invoke(QObject *target, const QByteArray &action, const QVariant &argument)
{
    const QMetaObject *meta = target->metaObject();
    int index = meta->indexOfMethod(QMetaObject::normalizedSignature(action + "(QVariant)").constData());
    if (index >= 0)
        return meta->method(index).invoke(target, Qt::DirectConnection, Q_ARG(QVariant, argument));
    index = meta->indexOfMethod(QMetaObject::normalizedSignature(action + "(QObject*)").constData());
    if (index >= 0)
        return meta->method(index).invoke(target, Qt::DirectConnection, Q_ARG(QObject *, argument.value<QObject *>()));
    return false;
}

bool MGWindow::answers(QObject *target, const QByteArray &action)
{
    const QMetaObject *meta = target->metaObject();
    return meta->indexOfMethod(QMetaObject::normalizedSignature(action + "(QVariant)").constData()) >= 0
        || meta->indexOfMethod(QMetaObject::normalizedSignature(action + "(QObject*)").constData()) >= 0;
}

QObject *MGWindow::targetForAction(const QByteArray &selector)
{
    QByteArray action = selector;
    if (action.endsWith(':'))
        action.chop(1);
    // A sheet over the window takes its commands first, as its focus does; the menu bar
    // holding the focus stands for the content that had it last.
    QWidget *focus = QApplication::focusWidget();
    if (!focus || (focus->window() != this && focus->window()->parentWidget() != this) || qobject_cast<QMenuBar *>(focus))
        focus = m_contentFocus ? m_contentFocus.data() : focusWidget();
    for (QWidget *widget = focus; widget; widget = widget->parentWidget()) {
        if (answers(widget, action))
            return widget;
        if (QObject *controller = MGViewController::controllerOfView(widget); controller && answers(controller, action))
            return controller;
        if (widget == this)
            break;
    }
    // Whatever has the focus, a command goes to the shown view that answers it: the
    // window's state alone says whether it can be done.
    if (m_content) {
        QList<QWidget *> shown{m_content->view()};
        shown += m_content->view()->findChildren<QWidget *>();
        for (QWidget *widget : std::as_const(shown)) {
            if (!widget->isVisible())
                continue;
            if (QObject *controller = MGViewController::controllerOfView(widget); controller && answers(controller, action))
                return controller;
        }
    }
    QObject *delegate = m_delegate ? m_delegate->delegateObject() : nullptr;
    return delegate && answers(delegate, action) ? delegate : nullptr;
}

bool MGWindow::sendAction(QAction *item)
{
    QByteArray action = item->objectName().toLatin1();
    QObject *target = targetForAction(action);
    if (action.endsWith(':'))
        action.chop(1);
    return target && invoke(target, action, QVariant::fromValue<QObject *>(item));
}

bool MGWindow::validateAction(QAction *item)
{
    QObject *target = targetForAction(item->objectName().toLatin1());
    if (!target)
        return false;
    bool valid = true;
    if (target->metaObject()->indexOfMethod("validateMenuItem(QAction*)") >= 0)
        QMetaObject::invokeMethod(target, "validateMenuItem", Qt::DirectConnection, Q_RETURN_ARG(bool, valid),
                                  Q_ARG(QAction *, item));
    return valid;
}

bool MGWindow::tryToPerform(const QString &action, const QVariant &argument)
{
    QByteArray name = action.toLatin1();
    if (name.endsWith(':'))
        name.chop(1);
    for (QObject *o = focusWidget(); o && o != this; o = o->parent()) {
        if (invoke(o, name, argument))
            return true;
    }
    return m_delegate && invoke(m_delegate->delegateObject(), name, argument);
}

void MGWindow::setRepresentedUrl(const QUrl &url)
{
    m_representedUrl = url;
    setWindowFilePath(MGItemPaths::shownPath(url));
}

void MGWindow::closeWithoutAsking()
{
    m_closingFromCode = true;
    close();
    m_closingFromCode = false;
}

void MGWindow::closeEvent(QCloseEvent *event)
{
    if (!m_closingFromCode && m_delegate && !m_delegate->windowShouldClose(this)) {
        event->ignore();
        return;
    }
    event->accept();
    emit windowWillClose();
    if (m_delegate)
        m_delegate->windowWillClose();
}

void MGWindow::cascade(MGWindow *window)
{
    constexpr int Step = 22;
    QPoint position = window->pos();
    for (bool moved = true; moved;) {
        moved = false;
        for (QWidget *other : QApplication::topLevelWidgets()) {
            if (other != window && qobject_cast<MGWindow *>(other) && other->isVisible() && other->pos() == position) {
                position += QPoint(Step, Step);
                moved = true;
            }
        }
    }
    window->move(position);
}
