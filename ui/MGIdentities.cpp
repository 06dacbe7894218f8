#include "MGIdentities.h"

#include "CBIdentityAuthority.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QFileSystemWatcher>

namespace {
// Account tools replace these files by renaming, which a file watch loses; the folder
// watch sees the rename and the file watches are set up again.
const QStringList DatabaseFiles = {QStringLiteral("/etc/passwd"), QStringLiteral("/etc/group")};
const QString DatabaseFolder = QStringLiteral("/etc");
}

MGIdentities::MGIdentities(QObject *parent) : QObject(parent)
{
}

MGIdentities *MGIdentities::sharedIdentities()
{
    static MGIdentities *shared = [] {
        auto *identities = new MGIdentities;
        if (auto *app = QCoreApplication::instance()) {
            identities->moveToThread(app->thread());
            QMetaObject::invokeMethod(identities, &MGIdentities::watchDatabase, Qt::QueuedConnection);
        }
        return identities;
    }();
    return shared;
}

void MGIdentities::watchDatabase()
{
    m_watcher = new QFileSystemWatcher(this);
    m_watcher->addPath(DatabaseFolder);
    m_watcher->addPaths(DatabaseFiles);
    auto changed = [this] {
        for (const QString &file : DatabaseFiles) {
            if (!m_watcher->files().contains(file))
                m_watcher->addPath(file);
        }
        reload();
    };
    connect(m_watcher, &QFileSystemWatcher::fileChanged, this, changed);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, [this, changed] {
        // The folder changes for many reasons; only a replaced database file matters.
        bool lost = false;
        for (const QString &file : DatabaseFiles)
            lost = lost || !m_watcher->files().contains(file);
        if (lost)
            changed();
    });
}

QVariantList MGIdentities::fullNamedIdentities()
{
    QMutexLocker locker(&m_lock);
    if (m_cache)
        return *m_cache;
    const CBIdentityAuthority &authority = CBIdentityAuthority::defaultIdentityAuthority();
    QVariantList list;
    for (const CBIdentity &user : authority.allUsers())
        list << QVariant::fromValue(user);
    list << QString::fromLatin1(SeparatorTitle);
    list << NTLocalizedString::localize(QStringLiteral("Groups"), QStringLiteral("ACL"));
    for (const CBIdentity &group : authority.allGroups())
        list << QVariant::fromValue(group);
    m_cache = list;
    return list;
}

void MGIdentities::reload()
{
    {
        QMutexLocker locker(&m_lock);
        m_cache.reset();
    }
    emit identitiesUpdated();
}
