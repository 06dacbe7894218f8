#include "MGAclTerminalLogin.h"

#include "MGAclCommandSupport.h"
#include "MGServerLogins.h"

#include <QFile>
#include <cstdio>
#include <cstring>
#include <termios.h>
#include <unistd.h>

namespace {
// One line from the terminal, without its newline; without echo when `secret`.
std::optional<QByteArray> readLine(FILE *terminal, bool secret)
{
    termios saved = {};
    const int fd = fileno(terminal);
    const bool quiet = secret && tcgetattr(fd, &saved) == 0;
    if (quiet) {
        termios silent = saved;
        silent.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(fd, TCSAFLUSH, &silent);
    }
    char buffer[1024];
    const bool got = std::fgets(buffer, sizeof buffer, terminal) != nullptr;
    if (quiet) {
        tcsetattr(fd, TCSAFLUSH, &saved);
        std::fputs("\n", stderr);
    }
    std::optional<QByteArray> line;
    if (got)
        line = QByteArray(buffer).chopped(std::strchr(buffer, '\n') ? 1 : 0);
    explicit_bzero(buffer, sizeof buffer);
    return line;
}
}

namespace MGAclTerminalLogin {
void install()
{
    if (!isatty(STDIN_FILENO))
        return;
    MGServerLogins::setPrompt([](const QUrl &item, const MGError &refusal, auto answer) {
        FILE *terminal = std::fopen("/dev/tty", "r+");
        if (!terminal)
            return answer(std::nullopt);
        std::fprintf(stderr, "%s\n%s", qPrintable(refusal.localizedDescription()),
                     qPrintable(MGAclCommandSupport::localized("Account on %1 (DOMAIN\\NAME, empty to stop): ").arg(item.host())));
        const std::optional<QByteArray> user = readLine(terminal, false);
        if (!user || user->isEmpty()) {
            std::fclose(terminal);
            return answer(std::nullopt);
        }
        std::fputs(qPrintable(MGAclCommandSupport::localized("Password: ")), stderr);
        std::optional<QByteArray> password = readLine(terminal, true);
        std::fclose(terminal);
        if (!password)
            return answer(std::nullopt);
        QString name = QString::fromLocal8Bit(*user), domain;
        if (const qsizetype slash = name.indexOf(QLatin1Char('\\')); slash > 0) {
            domain = name.left(slash);
            name = name.mid(slash + 1);
        }
        MGServerCredentials credentials(name, *password, domain);
        password->fill('\0');
        answer(credentials);
    });
}
}
