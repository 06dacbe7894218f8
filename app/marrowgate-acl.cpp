// marrowgate-acl: the ACL editor's command line. The text commands run here without any
// GUI; the window commands are checked here and handed to the small window host installed
// beside this program.
#include "MGAclCommandLine.h"
#include "MGAclCommandSupport.h"
#include "MGAclWindowArguments.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
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
        return MGAclCommandSupport::Failure;
    }
    self[length] = 0;
    const QByteArray host = QFile::encodeName(QDir::cleanPath(
        QFileInfo(QFile::decodeName(self)).absolutePath() + QStringLiteral("/" MARROWGATE_WINDOW_FROM_BINDIR)));
    argv[0] = const_cast<char *>(host.constData());
    execv(host.constData(), argv);
    std::fprintf(stderr, "marrowgate-acl: cannot start the window \u201c%s\u201d: %s\n", host.constData(),
                 std::strerror(errno));
    return MGAclCommandSupport::Failure;
}
}

int main(int argc, char **argv)
{
    QByteArrayList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QByteArray(argv[i]);
    // Standard error carries the command's own errors only.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(message));
    });
    // Help and usage errors are in the user's language too.
    QCoreApplication app(argc, argv);
    NTLocalizedString::installTranslation(QLocale::system().name());
    const QByteArray first = arguments.value(0);
    if (first == "--help" || first == "-h" || first == "help") {
        std::fputs(qPrintable(MGAclCommandLine::usage()), stdout);
        return MGAclCommandSupport::Success;
    }
    if (MGAclCommandLine::handles(arguments))
        return MGAclCommandLine::run(arguments);
    QString error;
    const auto window = MGAclWindowArguments::read(arguments, &error);
    if (!window)
        return MGAclCommandSupport::usageError(error);
    if (const QString problem = window->problem(); !problem.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(problem));
        // Started from a desktop, nobody reads standard error: the window host says it
        // in a window too (and ends with the same status).
        const bool shown = !window->screenshot && MGAclWindowArguments::hasDisplay() && !window->itemProblem().isEmpty();
        if (!shown)
            return MGAclCommandSupport::Failure;
    }
    return runWindowHost(argv);
}
