// marrowgate-aclwindow: the small host that shows the ACL window; marrowgate-acl checks the
// arguments and starts it for the window commands, with the same arguments.
#include "MGAclHost.h"
#include "MGAclHostInstance.h"
#include "MGAclWindowArguments.h"
#include "MGServerLogins.h"
#include "NTLocalizedString.h"

#include <QApplication>
#include <QLocale>
#include <cstdio>

int main(int argc, char **argv)
{
    QByteArrayList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QByteArray(argv[i]);
    QString error;
    const auto window = MGAclWindowArguments::read(arguments, &error);
    if (!window) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 64;
    }
    // A screenshot needs no display.
    if (window->screenshot && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The account a file server's item is read with: for this host alone, which therefore
    // shows the window itself rather than handing it over.
    if (!window->authenticationFile.isEmpty()) {
        const MGResult<MGServerCredentials> login = MGServerCredentials::fromAuthenticationFile(window->authenticationFile);
        if (!login) {
            std::fprintf(stderr, "%s\n", qPrintable(login.error().fullDescription()));
            return 1;
        }
        MGServerLogins::rememberForEveryServer(*login);
    }
    // A window for a display where one is open already goes to that host.
    const QString instance = window->screenshot || !window->authenticationFile.isEmpty() ? QString()
                                                                                        : MGAclHostInstance::nameForEnvironment();
    if (!instance.isEmpty() && MGAclHostInstance::handOver(instance, window->path))
        return 0;
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Marrowgate"));
    QApplication::setApplicationName(QStringLiteral("marrowgate-acl"));
    QApplication::setApplicationDisplayName(QStringLiteral("Marrowgate"));
    QApplication::setQuitOnLastWindowClosed(false);
    NTLocalizedString::installTranslation(QLocale::system().name());
    MGAclHost::installQtTranslation(QLocale::system());
    MGAclHost host;
    if (window->screenshot)
        return host.screenshot({window->path, window->out, window->tab, window->permissionsRow, window->findRow, window->find, window->add, window->size, window->elsewhere, window->who, window->asEdited});
    return host.run({window->path}, instance);
}
