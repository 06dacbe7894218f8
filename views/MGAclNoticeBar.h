#pragma once

#include <QFrame>

class QLabel;
class QPushButton;

// A bar above the entries that says something about the item itself: why it cannot be
// changed, that it changed on disk (with "Reload" and "Keep my edits"), that it went away, or
// that saving will ask for an authorisation. Hidden while there is nothing to say.
class MGAclNoticeBar : public QFrame
{
    Q_OBJECT
public:
    explicit MGAclNoticeBar(QWidget *parent = nullptr);

    // `text` empty hides the bar; `choices` shows the two answers to a change on disk.
    void showNotice(const QString &text, bool choices, bool warning);
    QLabel *label() const { return m_label; }
    QPushButton *reloadButton() const { return m_reload; }
    QPushButton *keepButton() const { return m_keep; }

signals:
    void reloadChosen();
    void keepChosen();

private:
    QLabel *m_icon;
    QLabel *m_label;
    QPushButton *m_reload;
    QPushButton *m_keep;
};
