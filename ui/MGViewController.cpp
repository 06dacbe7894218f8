#include "MGViewController.h"

#include "MGAlert.h"

#include <QDialog>
#include <QEvent>
#include <QVBoxLayout>

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
        m_view->setProperty("MGViewController", QVariant::fromValue<QObject *>(this));
        m_view->installEventFilter(this);
        viewDidLoad();
    }
    return m_view;
}

MGViewController *MGViewController::controllerOfView(QWidget *widget)
{
    return widget ? qobject_cast<MGViewController *>(widget->property("MGViewController").value<QObject *>()) : nullptr;
}

void MGViewController::presentViewControllerAsSheet(MGViewController *controller)
{
    auto *sheet = new QDialog(view()->window());
    sheet->setWindowTitle(MGAlert::titleForWindow(view()->window()));
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->setWindowModality(Qt::WindowModal);
    auto *layout = new QVBoxLayout(sheet);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(controller->view());
    controller->setParent(this);
    controller->m_presenting = this;
    controller->m_sheet = sheet;
    m_presented << controller;
    // A sheet closed by its window (Escape) is dismissed like one closed by its controller.
    connect(sheet, &QDialog::finished, this, [this, controller] { dismissViewController(controller); });
    sheet->open();
}

void MGViewController::dismissViewController(MGViewController *controller)
{
    if (!m_presented.removeOne(controller))
        return;
    if (QDialog *sheet = controller->m_sheet) {
        controller->m_sheet = nullptr;
        sheet->disconnect(this);
        sheet->close();
    }
    controller->deleteLater();
}

bool MGViewController::eventFilter(QObject *watched, QEvent *event)
{
    // The event's type first: an object being destroyed still sends events (children
    // removed), and comparing it with a guarded pointer would cast it to what it no longer is.
    if (event->type() == QEvent::Show && watched == m_view)
        viewDidAppear();
    return QObject::eventFilter(watched, event);
}
