// marrowgate-acl: the ACL editor's host program and command line.
//   marrowgate-acl PATH...                          the ACL window for one item
//   marrowgate-acl screenshot PATH OUT.png [--tab 0|1]
//   marrowgate-acl list PATH | access USER-OR-GROUP PATH
#include "MGAclCommandLine.h"
#include "MGAclHost.h"
#include "NTLocalizedString.h"

#include <QApplication>
#include <QLocale>
#include <cstdio>

int main(int argc, char **argv)
{
    const QStringList rawArguments = [&] {
        QStringList list;
        for (int i = 1; i < argc; ++i)
            list << QString::fromLocal8Bit(argv[i]);
        return list;
    }();
    const bool text = MGAclCommandLine::handles(rawArguments);
    const bool screenshot = rawArguments.value(0) == QLatin1String("screenshot");
    // The text commands use the same plug-in object as the window (which builds its window
    // without showing it); they and screenshots need no display.
    if ((text || screenshot) && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (text) {
        // Standard error carries the command's own errors only.
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
            if (type == QtCriticalMsg || type == QtFatalMsg)
                std::fprintf(stderr, "%s\n", qPrintable(message));
        });
    }
    QApplication app(argc, argv);
    if (text) {
        NTLocalizedString::installTranslation(QLocale::system().name());
        return MGAclCommandLine::run(rawArguments);
    }
    QApplication::setOrganizationName(QStringLiteral("Marrowgate"));
    QApplication::setApplicationName(QStringLiteral("marrowgate-acl"));
    QApplication::setQuitOnLastWindowClosed(false);
    NTLocalizedString::installTranslation(QLocale::system().name());
    MGAclHost host;
    if (screenshot) {
        QStringList args = rawArguments.mid(1);
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
    return host.run(rawArguments);
}
