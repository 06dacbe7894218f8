#include "MGPropagationProgress.h"

#include "MGCborReader.h"
#include "NTLocalizedString.h"

#include <QCborArray>
#include <QFile>
#include <QLocale>

namespace {
const QString ACL = QStringLiteral("ACL");
constexpr qint64 MaximumCount = qint64(1) << 53;
constexpr qsizetype MaximumText = 64 * 1024;

struct Counter
{
    const char *key;
    qint64 MGPropagationProgress::*field;
};

constexpr Counter Counters[] = {
    {"changed", &MGPropagationProgress::changed},
    {"alreadyRight", &MGPropagationProgress::alreadyRight},
    {"links", &MGPropagationProgress::links},
    {"otherMounts", &MGPropagationProgress::otherMounts},
    {"special", &MGPropagationProgress::special},
    {"hardLinks", &MGPropagationProgress::hardLinks},
    {"changedWhileWalking", &MGPropagationProgress::changedWhileWalking},
    {"protectedItems", &MGPropagationProgress::protectedItems},
    {"failed", &MGPropagationProgress::failed},
};

QString localized(const char *key)
{
    return NTLocalizedString::localize(QString::fromUtf8(key), ACL);
}

QString count(qint64 n)
{
    return NTLocalizedString::count(n);
}
}

QCborMap MGPropagationProgress::toCbor() const
{
    QCborMap map;
    for (const Counter &counter : Counters)
        map.insert(QString::fromLatin1(counter.key), this->*counter.field);
    map.insert(QStringLiteral("failedPaths"), QCborArray::fromStringList(failedPaths));
    map.insert(QStringLiteral("folder"), folder);
    map.insert(QStringLiteral("dryRun"), dryRun);
    map.insert(QStringLiteral("finished"), finished);
    map.insert(QStringLiteral("stopped"), stopped);
    return map;
}

std::optional<MGPropagationProgress> MGPropagationProgress::fromCbor(const QCborValue &value, QString *why)
{
    MGCborReader read(why);
    const QString what = QStringLiteral("progress report");
    QStringList keys;
    for (const Counter &counter : Counters)
        keys << QString::fromLatin1(counter.key);
    keys << QStringLiteral("failedPaths") << QStringLiteral("folder") << QStringLiteral("dryRun")
         << QStringLiteral("finished") << QStringLiteral("stopped");
    const auto map = read.map(value, what, keys);
    if (!map)
        return std::nullopt;
    MGPropagationProgress progress;
    for (const Counter &counter : Counters)
        progress.*counter.field = read.integer(*map, what, QString::fromLatin1(counter.key), 0, MaximumCount).value_or(0);
    if (const auto paths = read.array(map->value(QStringLiteral("failedPaths")), QStringLiteral("failed paths"), ReportedPaths)) {
        for (const QCborValue &path : *paths)
            progress.failedPaths << read.text(path, QStringLiteral("failed path"), MaximumText).value_or(QString());
    }
    progress.folder = read.bytes(*map, what, QStringLiteral("folder"), MaximumText).value_or(QByteArray());
    progress.dryRun = read.boolean(*map, what, QStringLiteral("dryRun")).value_or(false);
    progress.finished = read.boolean(*map, what, QStringLiteral("finished")).value_or(false);
    progress.stopped = read.boolean(*map, what, QStringLiteral("stopped")).value_or(false);
    if (!read.ok())
        return std::nullopt;
    return progress;
}

QString MGPropagationProgress::summaryText() const
{
    QStringList parts;
    parts << localized(dryRun ? "%1 would change" : "%1 changed").arg(count(changed));
    parts << localized("%1 already right").arg(count(alreadyRight));
    if (skipped() > 0) {
        QStringList why;
        struct Reason
        {
            qint64 n;
            const char *one;
            const char *many;
        };
        const Reason reasons[] = {
            {links, "%1 link", "%1 links"},
            {otherMounts, "%1 on another file system or mount point", "%1 on other file systems or mount points"},
            {special, "%1 special file", "%1 special files"},
            {hardLinks, "%1 file with several hard links", "%1 files with several hard links"},
            {changedWhileWalking, "%1 changed during the walk", "%1 changed during the walk"},
            {protectedItems, "%1 protected from inheritance", "%1 protected from inheritance"},
        };
        for (const Reason &reason : reasons) {
            if (reason.n > 0)
                why << localized(reason.n == 1 ? reason.one : reason.many).arg(count(reason.n));
        }
        parts << localized("%1 skipped (%2)").arg(count(skipped()), why.join(QStringLiteral(", ")));
    }
    QString text = parts.join(QStringLiteral(", "));
    if (failed > 0) {
        text += QStringLiteral(", ") + localized("%1 failed").arg(count(failed));
        if (!failedPaths.isEmpty())
            text += QStringLiteral(": ") + failedPaths.join(QStringLiteral("; "))
                + (failed > failedPaths.size() ? QStringLiteral("; \u2026") : QString());
    }
    return text;
}
