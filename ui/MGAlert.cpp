#include "MGAlert.h"

#include "NTLocalizedString.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QPushButton>

bool MGAlert::isCancel(const QString &title)
{
    return title == QLatin1String("Cancel") || title == NTLocalizedString::localize(QStringLiteral("Cancel"));
}

QString MGAlert::titleForWindow(QWidget *window)
{
    const QString path = window ? window->window()->windowFilePath() : QString();
    const QString name = path == QLatin1String("/") ? path : QFileInfo(path).fileName();
    return name.isEmpty() ? QGuiApplication::applicationDisplayName() : name;
}

MGAlert::MGAlert(Style style, const QString &messageText, const QString &informativeText, const QStringList &buttons)
    : m_style(style), m_message(messageText), m_informative(informativeText), m_buttons(buttons)
{
}

QMessageBox *MGAlert::beginSheetModalForWindow(QWidget *window, std::function<void(int)> handler) const
{
    const QMessageBox::Icon icon = m_style == Critical ? QMessageBox::Critical
        : m_style == Informational                     ? QMessageBox::Information
                                                       : QMessageBox::Warning;
    auto *box = new QMessageBox(icon, QString(), m_message, QMessageBox::NoButton, window);
    box->setObjectName(QStringLiteral("MGAlert"));
    box->setWindowTitle(titleForWindow(window));
    box->setInformativeText(m_informative);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
    QList<QAbstractButton *> buttons;
    for (qsizetype i = 0; i < m_buttons.size(); ++i) {
        // Escape answers only a "Cancel" button (or the one button there is); a question
        // with "Yes" and "No" stays up until one of them is chosen, so a key never chooses
        // an answer that throws work away.
        const QMessageBox::ButtonRole role = i == 0 ? QMessageBox::AcceptRole
            : isCancel(m_buttons[i])                ? QMessageBox::RejectRole
                                                    : QMessageBox::ActionRole;
        QPushButton *button = box->addButton(m_buttons[i], role);
        button->setObjectName(QStringLiteral("MGAlertButton%1").arg(FirstButtonReturn + i));
        buttons << button;
    }
    // Return answers the first button; for what cannot be undone (a critical alert) it
    // answers Cancel, so that only a deliberate choice does it.
    QAbstractButton *defaultButton = buttons.isEmpty() ? nullptr : buttons.first();
    if (m_style == Critical) {
        for (qsizetype i = 0; i < m_buttons.size(); ++i) {
            if (isCancel(m_buttons[i]))
                defaultButton = buttons[i];
        }
    }
    if (defaultButton)
        box->setDefaultButton(static_cast<QPushButton *>(defaultButton));
    QObject::connect(box, &QMessageBox::finished, box, [box, buttons, handler](int) {
        const qsizetype index = buttons.indexOf(box->clickedButton());
        // Closed without a button (only possible when Escape has a button to answer).
        handler(FirstButtonReturn + int(index >= 0 ? index : buttons.size() - 1));
    });
    box->open();
    return box;
}
