#pragma once

#include <QByteArray>
#include <QCborMap>
#include <QStringList>
#include <optional>

// How far a propagation has come, or how it ended: what it changed, what was already as
// it should be, what it left alone and why, and what it could not change. The service
// reports it while it walks and once more, finished, before its reply.
struct MGPropagationProgress
{
    qint64 changed = 0; // in a dry run: what would change
    qint64 alreadyRight = 0;
    qint64 links = 0; // symbolic links, never followed nor changed
    qint64 otherMounts = 0; // other file systems and mount points
    qint64 special = 0; // devices, FIFOs, sockets
    qint64 hardLinks = 0; // regular files with more than one name
    qint64 changedWhileWalking = 0; // swapped or removed between listing and change
    qint64 protectedItems = 0; // on a file server: items that take nothing from their folder, and what is below them
    qint64 failed = 0;
    QStringList failedPaths; // the first few, each with its error
    QByteArray folder; // the folder the walk has just finished
    bool dryRun = false;
    bool finished = false;
    bool stopped = false; // ended early, when asked to

    static constexpr int ReportedPaths = 5;

    qint64 skipped() const { return links + otherMounts + special + hardLinks + changedWhileWalking + protectedItems; }
    // Every item the walk has looked at.
    qint64 items() const { return changed + alreadyRight + skipped() + failed; }

    QCborMap toCbor() const;
    // From a report that came over a connection; nothing, with `why`, when it is malformed.
    static std::optional<MGPropagationProgress> fromCbor(const QCborValue &value, QString *why);

    // "1,204 changed, 3 already right, 2 skipped (2 links), 1 failed: …" in the current language.
    QString summaryText() const;
};
