// marrowgate-acl: the ACL editor's command line.
//   marrowgate-acl PATH                             the ACL window for one item
//   marrowgate-acl screenshot PATH OUT.png [--tab 0|1]
//   marrowgate-acl list PATH | access USER-OR-GROUP PATH
// The text commands run here without any GUI; the window commands are handed to the small
// window host installed beside this program.
#include "MGAclCommandLine.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QDir>
#include <QLocale>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {
// The window host's place is fixed relative to this program's own.
int runWindowHost(char **argv)
{
    char self[4096];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0) {
        std::fprintf(stderr, "marrowgate-acl: cannot find its own place: %s\n", std::strerror(errno));
        return 1;
    }
    self[length] = 0;
    const QByteArray host = QFile::encodeName(QDir::cleanPath(
        QFileInfo(QFile::decodeName(self)).absolutePath() + QStringLiteral("/" MARROWGATE_WINDOW_FROM_BINDIR)));
    argv[0] = const_cast<char *>(host.constData());
    execv(host.constData(), argv);
    std::fprintf(stderr, "marrowgate-acl: cannot start the window \u201c%s\u201d: %s\n", host.constData(),
                 std::strerror(errno));
    return 1;
}
}

int main(int argc, char **argv)
{
    QByteArrayList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QByteArray(argv[i]);
    if (!MGAclCommandLine::handles(arguments))
        return runWindowHost(argv);
    // Standard error carries the command's own errors only.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(message));
    });
    QCoreApplication app(argc, argv);
    NTLocalizedString::installTranslation(QLocale::system().name());
    return MGAclCommandLine::run(arguments);
}
