#pragma once

#include "MGViewController.h"

#include <QPointer>
#include <QUrl>
#include <QVariant>
#include <QWidget>

// Decides about and learns of a window's closing, and is the last stop for its actions.
class MGWindowDelegate
{
public:
    virtual ~MGWindowDelegate() = default;
    virtual bool windowShouldClose(QWidget *window) = 0;
    virtual void windowWillClose() = 0;
    virtual QObject *delegateObject() = 0;
};

// A top-level window showing one view controller's view. Closing it by the user asks the
// delegate first; closing it from code does not.
class MGWindow : public QWidget
{
    Q_OBJECT
public:
    static MGWindow *windowWithContentViewController(MGViewController *controller);

    MGViewController *contentViewController() const { return m_content; }
    void setDelegate(MGWindowDelegate *delegate) { m_delegate = delegate; }
    MGWindowDelegate *delegate() const { return m_delegate; }

    // Sends an action along the focus chain (the focused widget and its parents), then to
    // the delegate, invoking the first object with a slot of the action's name that takes
    // a QVariant or a QObject*. Answers whether someone handled it.
    bool tryToPerform(const QString &action, const QVariant &argument = QVariant());

    void setRepresentedUrl(const QUrl &url);
    QUrl representedUrl() const { return m_representedUrl; }
    // The minimum size of the area inside the frame.
    void setContentMinSize(const QSize &size) { setMinimumSize(size); }
    // Closes without asking the delegate (a save that asked to close, say).
    void closeWithoutAsking();

    // Places a new window a step down and right of an existing one at the same spot.
    static void cascade(MGWindow *window);

signals:
    void windowWillClose();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    explicit MGWindow(MGViewController *controller);
    static bool invoke(QObject *target, const QByteArray &action, const QVariant &argument);

    QPointer<MGViewController> m_content;
    MGWindowDelegate *m_delegate = nullptr;
    QUrl m_representedUrl;
    bool m_closingFromCode = false;
};
