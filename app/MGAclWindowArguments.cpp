#include "MGAclWindowArguments.h"

#include "MGAclCommandLine.h"
#include "MGAclCommandSupport.h"
#include "MGItemPaths.h"
#include "MGServerCredentials.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

using MGAclCommandSupport::localized;

namespace {
std::optional<int> number(const QByteArray &text, int lowest, int highest)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok && value >= lowest && value <= highest ? std::optional<int>(value) : std::nullopt;
}

// "WIDTHxHEIGHT", each between a window's smallest and a large screen's size.
std::optional<QSize> sizeOf(const QByteArray &text)
{
    const QByteArrayList parts = text.split('x');
    if (parts.size() != 2)
        return std::nullopt;
    const std::optional<int> width = number(parts.at(0), 200, 8192);
    const std::optional<int> height = number(parts.at(1), 180, 8192);
    return width && height ? std::optional<QSize>(QSize(*width, *height)) : std::nullopt;
}
}

std::optional<MGAclWindowArguments> MGAclWindowArguments::read(QByteArrayList arguments, QString *error)
{
    MGAclWindowArguments read;
    // The account for file servers, wherever it is given.
    if (const qsizetype at = arguments.indexOf("--authentication-file"); at >= 0) {
        if (at + 1 >= arguments.size()) {
            *error = localized("--authentication-file needs a FILE.");
            return std::nullopt;
        }
        read.authenticationFile = QFile::decodeName(arguments.at(at + 1));
        arguments.remove(at, 2);
    }
    read.screenshot = !arguments.isEmpty() && arguments.first() == "screenshot";
    QByteArrayList positional;
    if (read.screenshot) {
        // Read by the same reader, from the same usage line, as the help shows.
        const std::optional<MGAclCommandSyntax> syntax = MGAclCommandLine::syntaxOf("screenshot");
        const std::optional<MGAclCommandSyntax::Match> given = syntax ? syntax->match(arguments.mid(1), error) : std::nullopt;
        if (!given)
            return std::nullopt;
        positional = given->arguments;
        for (auto it = given->values.constBegin(); it != given->values.constEnd(); ++it) {
            const QByteArray &option = it.key();
            const QByteArrayList &values = it.value();
            bool valid = true;
            if (option == "--tab")
                valid = number(values[0], 0, 1) && (read.tab = *number(values[0], 0, 1), true);
            else if (option == "--permissions")
                valid = number(values[0], 1, 1 << 20) && (read.permissionsRow = *number(values[0], 1, 1 << 20), true);
            else if (option == "--find")
                valid = number(values[0], 1, 1 << 20) && (read.findRow = *number(values[0], 1, 1 << 20), read.find = QString::fromLocal8Bit(values[1]), true);
            else if (option == "--size")
                valid = sizeOf(values[0]) && (read.size = *sizeOf(values[0]), true);
            else if (option == "--elsewhere")
                valid = !values[0].isEmpty() && (read.elsewhere = QString::fromLocal8Bit(values[0]), true);
            else if (option == "--who")
                valid = !values[0].isEmpty() && (read.who = QString::fromLocal8Bit(values[0]), true);
            else if (option == "--add")
                valid = !values[0].isEmpty() && (read.add = QString::fromLocal8Bit(values[0]), true);
            if (!valid) {
                *error = localized("Unknown option or missing value: %1").arg(QString::fromLocal8Bit(option + ' ' + values.join(' ')));
                return std::nullopt;
            }
        }
        read.asEdited = given->has("--as-edited");
    } else {
        for (const QByteArray &word : arguments) {
            if (word.startsWith('-') && word.size() > 1) {
                *error = localized("Unknown option \u201c%1\u201d.").arg(QString::fromLocal8Bit(word));
                return std::nullopt;
            }
            positional << word;
        }
    }
    // A first word that names no item and no command, followed by more: a mistyped command.
    if (!read.screenshot && positional.size() > 1 && !positional.first().contains('/')
        && access(positional.first().constData(), F_OK) != 0) {
        *error = localized("Unknown command \u201c%1\u201d.").arg(QString::fromLocal8Bit(positional.first()));
        return std::nullopt;
    }
    if (positional.size() != (read.screenshot ? 2 : 1)) {
        *error = read.screenshot ? localized("A screenshot needs a path and a picture to write.")
                                 : positional.isEmpty() ? localized("Name the file or folder to show.")
                                                        : localized("The window shows one file or folder at a time.");
        return std::nullopt;
    }
    read.path = positional.first();
    // A file manager that hands over URLs (for SMB shares) gives local items as file URLs.
    if (read.path.startsWith("file://"))
        read.path = MGItemPaths::nativePath(QUrl::fromEncoded(read.path));
    // A path inside a desktop's mount of an SMB share names the server's item.
    if (const std::optional<QUrl> server = MGItemPaths::serverUrlForMountPath(MGItemPaths::absolutePath(read.path)))
        read.path = server->toEncoded();
    if (read.screenshot)
        read.out = QFile::decodeName(positional.at(1));
    return read;
}

QString MGAclWindowArguments::problem() const
{
    if (const QString item = itemProblem(); !item.isEmpty())
        return item;
    if (screenshot) {
        const QFileInfo picture(out);
        if (!picture.absoluteDir().exists())
            return localized("The folder \u201c%1\u201d, where the picture is to go, does not exist.")
                .arg(picture.absolutePath());
        return QString();
    }
    if (!hasDisplay())
        return localized("There is no display to show the window on (neither DISPLAY nor WAYLAND_DISPLAY is set). "
                              "\u201cmarrowgate-acl list\u201d shows the entries as text, and \u201cmarrowgate-acl "
                              "screenshot\u201d writes a picture of the window.");
    return QString();
}

bool MGAclWindowArguments::hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

QString MGAclWindowArguments::itemProblem() const
{
    if (MGItemPaths::isServerPath(path)) {
        if (!MGItemPaths::isServerUrl(QUrl::fromEncoded(path, QUrl::StrictMode)))
            return localized("\u201c%1\u201d is not the URL of an item on a file server (smb://SERVER/SHARE/PATH).")
                .arg(QString::fromLocal8Bit(path));
        if (!QUrl::fromEncoded(path).password().isEmpty())
            return localized("The URL holds a password; give the account with --authentication-file instead.");
        if (!authenticationFile.isEmpty()) {
            if (const MGResult<MGServerCredentials> read = MGServerCredentials::fromAuthenticationFile(authenticationFile); !read)
                return read.error().fullDescription();
        }
        return QString();
    }
    const MGItemPaths::Resolution item = MGItemPaths::resolve(path);
    if (!item.exists) {
        struct stat link {};
        const bool danglingLink = lstat(path.constData(), &link) == 0 && S_ISLNK(link.st_mode);
        return danglingLink
            ? localized("\u201c%1\u201d is a link to something that is not there.").arg(QFile::decodeName(path))
            : localized("\u201c%1\u201d: %2.").arg(QFile::decodeName(path), QString::fromLocal8Bit(std::strerror(item.error)));
    }
    return QString();
}
