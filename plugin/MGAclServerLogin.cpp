#include "MGAclServerLogin.h"

#include "MGLoginDialog.h"
#include "MGServerLogins.h"
#include "MGWorkQueue.h"
#include "NTLocalizedString.h"

#include <QApplication>
#include <QWidget>
#include <mutex>

namespace {
// The window that shows an item of the server, the active one first.
QWidget *windowFor(const QUrl &item)
{
    QWidget *active = QApplication::activeWindow();
    if (active && QUrl(active->windowFilePath()).host() == item.host())
        return active;
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible() && QUrl(widget->windowFilePath()).host() == item.host())
            return widget;
    }
    return active;
}
}

namespace MGAclServerLogin {
void install()
{
    static std::once_flag once;
    std::call_once(once, [] {
        MGServerLogins::setPrompt([](const QUrl &item, const MGError &refusal, auto answer) {
            MGMainQueue::async([item, refusal, answer] {
                const QString acl = QStringLiteral("ACL");
                const QString message = NTLocalizedString::localize(QStringLiteral("Log in to \u201c%1\u201d"), acl).arg(item.host());
                const QString informative = NTLocalizedString::localize(QStringLiteral("%1 Give the name and password of an "
                                                                                        "account that may do this."),
                                                                         acl)
                                                .arg(refusal.fullDescription());
                MGLoginDialog::beginSheetModalForWindow(windowFor(item), message, informative,
                                                        [answer](std::optional<MGLoginDialog::Login> login) {
                                                            if (!login)
                                                                return answer(std::nullopt);
                                                            MGServerCredentials credentials(login->user, login->password, login->domain);
                                                            login->password.fill('\0');
                                                            answer(credentials);
                                                        });
            });
        });
    });
}
}
