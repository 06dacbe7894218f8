#include "MGWindow.h"

#include "MGItemPaths.h"
#include "MGViewController.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMetaMethod>
#include <QVBoxLayout>

MGWindow::MGWindow(MGViewController *controller) : QWidget(nullptr, Qt::Window), m_content(controller)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(controller->view());
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
