#pragma once

#include <QMessageBox>
#include <functional>

// A question or warning shown as a window-modal sheet. The answer is the number of the
// button: 1000 for the first, 1001 for the second, and so on.
class MGAlert
{
public:
    enum Style { Warning = 0, Informational = 1, Critical = 2 };
    static constexpr int FirstButtonReturn = 1000;

    MGAlert(Style style, const QString &messageText, const QString &informativeText, const QStringList &buttons);

    // The title of a dialog over `window`: the name of the item the window shows, or the
    // program's name.
    static QString titleForWindow(QWidget *window);

    // Shows the alert on `window` and returns at once; `handler` gets the answer.
    QMessageBox *beginSheetModalForWindow(QWidget *window, std::function<void(int response)> handler) const;

private:
    static bool isCancel(const QString &title);

    Style m_style;
    QString m_message;
    QString m_informative;
    QStringList m_buttons;
};
