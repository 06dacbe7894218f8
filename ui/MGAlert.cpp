#include "MGAlert.h"

#include <QPushButton>

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
    box->setInformativeText(m_informative);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
    QList<QAbstractButton *> buttons;
    for (qsizetype i = 0; i < m_buttons.size(); ++i) {
        QPushButton *button = box->addButton(m_buttons[i], i == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole);
        button->setObjectName(QStringLiteral("MGAlertButton%1").arg(FirstButtonReturn + i));
        buttons << button;
    }
    if (!buttons.isEmpty())
        box->setDefaultButton(static_cast<QPushButton *>(buttons.first()));
    QObject::connect(box, &QMessageBox::finished, box, [box, buttons, handler](int) {
        const qsizetype index = buttons.indexOf(box->clickedButton());
        // Closing the sheet without a button (Escape) counts as the last button.
        handler(FirstButtonReturn + int(index >= 0 ? index : buttons.size() - 1));
    });
    box->open();
    return box;
}
