#include "MGLoginDialog.h"

#include "MGAlert.h"
#include "NTLocalizedString.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
QString localized(const char *english)
{
    return NTLocalizedString::localize(QString::fromUtf8(english), QStringLiteral("ACL"));
}
}

MGLoginDialog::MGLoginDialog(QWidget *window, const QString &message, const QString &informative) : QDialog(window)
{
    setObjectName(QStringLiteral("loginDialog"));
    setWindowTitle(MGAlert::titleForWindow(window));
    setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
    auto *layout = new QVBoxLayout(this);
    auto *heading = new QLabel(message, this);
    heading->setWordWrap(true);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    layout->addWidget(heading);
    auto *details = new QLabel(informative, this);
    details->setWordWrap(true);
    layout->addWidget(details);
    auto *form = new QFormLayout;
    m_user = new QLineEdit(this);
    m_user->setObjectName(QStringLiteral("loginUser"));
    m_user->setPlaceholderText(localized("DOMAIN\\name"));
    m_password = new QLineEdit(this);
    m_password->setObjectName(QStringLiteral("loginPassword"));
    m_password->setEchoMode(QLineEdit::Password);
    form->addRow(localized("Name:"), m_user);
    form->addRow(localized("Password:"), m_password);
    layout->addLayout(form);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(localized("Log In"));
    buttons->button(QDialogButtonBox::Cancel)->setText(localized("Cancel"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    const auto nameGiven = [this, buttons] { buttons->button(QDialogButtonBox::Ok)->setEnabled(!m_user->text().trimmed().isEmpty()); };
    connect(m_user, &QLineEdit::textChanged, this, nameGiven);
    nameGiven();
    m_user->setFocus();
}

void MGLoginDialog::beginSheetModalForWindow(QWidget *window, const QString &message, const QString &informative,
                                             std::function<void(std::optional<Login>)> handler)
{
    auto *dialog = new MGLoginDialog(window, message, informative);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::finished, dialog, [dialog, handler](int result) {
        if (result != QDialog::Accepted)
            return handler(std::nullopt);
        Login login;
        login.user = dialog->m_user->text().trimmed();
        if (const qsizetype slash = login.user.indexOf(QLatin1Char('\\')); slash > 0) {
            login.domain = login.user.left(slash);
            login.user = login.user.mid(slash + 1);
        }
        login.password = dialog->m_password->text().toUtf8();
        dialog->m_password->clear();
        handler(login);
    });
    dialog->open();
}
