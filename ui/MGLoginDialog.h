#pragma once

#include <QByteArray>
#include <QDialog>
#include <functional>
#include <optional>

class QLineEdit;

// Asks for the name and password of an account, as a sheet over a window: the name in
// "DOMAIN\name" or "name" form, the password never shown. The answer comes once, to the
// handler: the name, domain and password, or nothing when the user cancels. The password
// field is cleared as soon as it has been read.
class MGLoginDialog : public QDialog
{
    Q_OBJECT

public:
    struct Login
    {
        QString user;
        QString domain;
        QByteArray password;
    };
    MGLoginDialog(QWidget *window, const QString &message, const QString &informative);

    static void beginSheetModalForWindow(QWidget *window, const QString &message, const QString &informative,
                                         std::function<void(std::optional<Login>)> handler);

private:
    QLineEdit *m_user = nullptr;
    QLineEdit *m_password = nullptr;
};
