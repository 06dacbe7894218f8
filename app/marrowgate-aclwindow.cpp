// marrowgate-aclwindow: the small host that shows the ACL window; marrowgate-acl starts it
// for the window commands, with the same arguments.
//   PATH...                             the ACL window for one item
//   screenshot PATH OUT.png [--tab 0|1] a picture of the window, without a display
#include "MGAclHost.h"
#include "NTLocalizedString.h"

#include <QApplication>
#include <QLocale>
#include <cstdio>

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const bool screenshot = arguments.value(0) == QLatin1String("screenshot");
    // A screenshot needs no display.
    if (screenshot && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Marrowgate"));
    QApplication::setApplicationName(QStringLiteral("marrowgate-acl"));
    QApplication::setQuitOnLastWindowClosed(false);
    NTLocalizedString::installTranslation(QLocale::system().name());
    MGAclHost host;
    if (screenshot) {
        QStringList args = arguments.mid(1);
        int tab = 0;
        const qsizetype flag = args.indexOf(QStringLiteral("--tab"));
        if (flag >= 0) {
            tab = args.value(flag + 1).toInt();
            args.remove(flag, 2);
        }
        if (args.size() != 2 || tab < 0 || tab > 1) {
            std::fprintf(stderr, "usage: marrowgate-acl screenshot PATH OUT.png [--tab 0|1]\n");
            return 64;
        }
        return host.screenshot(args[0], args[1], tab);
    }
    return host.run(arguments);
}
