#pragma once

#include <QObject>
#include <QPointer>
#include <QDialog>
#include <QWidget>

// Owns one view, made on first use (loadView, then viewDidLoad), and learns when it
// appears on screen (viewDidAppear). Subclasses build their view from an interface file.
class MGViewController : public QObject
{
    Q_OBJECT
public:
    explicit MGViewController(QObject *parent = nullptr);
    ~MGViewController() override;

    QWidget *view();
    // The controller whose view a widget is, if any.
    static MGViewController *controllerOfView(QWidget *widget);
    bool isViewLoaded() const { return m_view != nullptr; }
    QString title() const { return m_title; }
    void setTitle(const QString &title) { m_title = title; }

    // Shows another view controller's view as a sheet over this view's window: window-modal,
    // returning at once. This controller owns the presented one until it is dismissed.
    void presentViewControllerAsSheet(MGViewController *controller);
    // Closes a sheet this controller presented and lets its controller go.
    void dismissViewController(MGViewController *controller);
    QList<MGViewController *> presentedViewControllers() const { return m_presented; }
    MGViewController *presentingViewController() const { return m_presenting; }
    // The sheet window showing this controller's view, while it is presented.
    QDialog *sheet() const { return m_sheet; }

protected:
    virtual QWidget *loadView() = 0;
    virtual void viewDidLoad() {}
    virtual void viewDidAppear() {}
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QPointer<QWidget> m_view;
    QString m_title;
    QList<MGViewController *> m_presented;
    QPointer<MGViewController> m_presenting;
    QPointer<QDialog> m_sheet;
};
