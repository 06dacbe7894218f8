#pragma once

#include <QFrame>
#include <QPointer>

class MGIdentityPopUpButton;
class MGIdentitySearchModel;
class QLabel;
class QLineEdit;
class QListView;

// The open list of an identity pop-up button: a search field over the button's items, the
// list, and a note on who a search would have found but is not offered. Made when the button
// opens, gone when it closes: Enter takes the first or the picked identity ("uid:N" and
// "gid:N" an id without an account), Escape gives up, Tab and Shift+Tab give up and go on.
class MGIdentityPopUp : public QFrame
{
public:
    explicit MGIdentityPopUp(MGIdentityPopUpButton *button);

    QLineEdit *search() const { return m_search; }
    QListView *list() const { return m_list; }
    QLabel *hint() const { return m_hint; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void sayWhoIsLeftOut(const QString &text);
    void selectFirstIdentity();
    void chooseTyped();
    void choose(const QModelIndex &index);

    QPointer<MGIdentityPopUpButton> m_button;
    QLineEdit *m_search;
    QListView *m_list;
    QLabel *m_hint;
    MGIdentitySearchModel *m_model;
    bool m_chosen = false;
    bool m_escaped = false;
};
