#include "MGAclWindowArguments.h"

#include "MGAclCommandSupport.h"
#include "MGItemPaths.h"

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

std::optional<MGAclWindowArguments> MGAclWindowArguments::read(const QByteArrayList &arguments, QString *error)
{
    MGAclWindowArguments read;
    QByteArrayList rest = arguments;
    read.screenshot = !rest.isEmpty() && rest.first() == "screenshot";
    if (read.screenshot)
        rest.removeFirst();
    QByteArrayList positional;
    for (qsizetype i = 0; i < rest.size(); ++i) {
        const QByteArray &word = rest[i];
        const bool option = read.screenshot && word.startsWith("--");
        if (!read.screenshot && word.startsWith('-') && word.size() > 1) {
            *error = localized("Unknown option \u201c%1\u201d.").arg(QString::fromLocal8Bit(word));
            return std::nullopt;
        }
        if (!option) {
            positional << word;
            continue;
        }
        if (word == "--tab" && i + 1 < rest.size() && number(rest[i + 1], 0, 1)) {
            read.tab = *number(rest[++i], 0, 1);
        } else if (word == "--permissions" && i + 1 < rest.size() && number(rest[i + 1], 1, 1 << 20)) {
            read.permissionsRow = *number(rest[++i], 1, 1 << 20);
        } else if (word == "--find" && i + 2 < rest.size() && number(rest[i + 1], 1, 1 << 20)) {
            read.findRow = *number(rest[++i], 1, 1 << 20);
            read.find = QString::fromLocal8Bit(rest[++i]);
        } else if (word == "--size" && i + 1 < rest.size() && sizeOf(rest[i + 1])) {
            read.size = *sizeOf(rest[++i]);
        } else if (word == "--elsewhere" && i + 1 < rest.size() && !rest[i + 1].isEmpty()) {
            read.elsewhere = QString::fromLocal8Bit(rest[++i]);
        } else if (word == "--who" && i + 1 < rest.size() && !rest[i + 1].isEmpty()) {
            read.who = QString::fromLocal8Bit(rest[++i]);
        } else if (word == "--as-edited") {
            read.asEdited = true;
        } else if (word == "--add" && i + 1 < rest.size() && !rest[i + 1].isEmpty()) {
            read.add = QString::fromLocal8Bit(rest[++i]);
        } else {
            *error = localized("Unknown option or missing value: %1").arg(QString::fromLocal8Bit(word));
            return std::nullopt;
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
