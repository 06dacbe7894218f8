#pragma once

#include "MGViewController.h"

#include <QPointer>
#include <QUrl>
#include <QVariant>
#include <QWidget>

class QAction;

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
    // A menu command: goes to the first of the focused widget, its parents and the view
    // controllers whose views they are, then the delegate, that answers the action, with
    // the menu item as argument.
    bool sendAction(QAction *item);
    // Whether a menu command can be chosen now: its target's validateMenuItem (when it has
    // one) decides; with no target it cannot.
    bool validateAction(QAction *item);

    void setRepresentedUrl(const QUrl &url);
    QUrl representedUrl() const { return m_representedUrl; }
    // The minimum size of the area inside the frame.
    void setContentMinSize(const QSize &size) { setMinimumSize(size); }
    // Adds a strip across the window above or below the content (a note, a progress bar);
    // the window owns it.
    void addAccessoryView(QWidget *view, Qt::Edge edge);
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
    static bool answers(QObject *target, const QByteArray &action);
    // The object a menu command goes to, or null.
    QObject *targetForAction(const QByteArray &action);

    QPointer<MGViewController> m_content;
    // The last widget of the window's own content that had the focus: a menu bar or menu
    // taking the focus does not change whom the window's commands are for.
    QPointer<QWidget> m_contentFocus;
    MGWindowDelegate *m_delegate = nullptr;
    QUrl m_representedUrl;
    bool m_closingFromCode = false;
};
