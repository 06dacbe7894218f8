#pragma once

#include "MGAclEditSession.h"

#include <QFrame>

class QLabel;
class QPushButton;

// A bar above the entries that says something about the item itself: why it cannot be
// changed, that it changed on disk (with "Reload" and "Keep my edits"), that it went away or
// its name now means another item ("Read Again"), that a refused save left edits that can be
// had back ("Restore My Edits"), what a save will not keep, or that saving will ask for an
// authorisation. Hidden while there is nothing to say.
class MGAclNoticeBar : public QFrame
{
    Q_OBJECT
public:
    explicit MGAclNoticeBar(QWidget *parent = nullptr);

    // A notice without text hides the bar.
    void showNotice(const MGAclEditSession::Notice &notice);
    QLabel *label() const { return m_label; }
    QPushButton *reloadButton() const { return m_reload; }
    QPushButton *keepButton() const { return m_keep; }
    QPushButton *restoreButton() const { return m_restore; }

signals:
    void reloadChosen();
    void keepChosen();
    void restoreChosen();

private:
    QPushButton *button(const char *title, const char *description);

    QLabel *m_icon;
    QLabel *m_label;
    QPushButton *m_reload;
    QPushButton *m_keep;
    QPushButton *m_restore;
};
