#pragma once

#include <QObject>
#include <QPointer>
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
    bool isViewLoaded() const { return m_view != nullptr; }
    QString title() const { return m_title; }
    void setTitle(const QString &title) { m_title = title; }

protected:
    virtual QWidget *loadView() = 0;
    virtual void viewDidLoad() {}
    virtual void viewDidAppear() {}
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QPointer<QWidget> m_view;
    QString m_title;
};
