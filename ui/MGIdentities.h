#pragma once

#include "CBIdentity.h"

#include <QMutex>
#include <QObject>
#include <QVariantList>
#include <optional>

class QFileSystemWatcher;

// The users and groups offered in identity menus. Watches the account database and
// announces changes with identitiesUpdated() ("MGIdentitiesUpdated").
class MGIdentities : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *SeparatorTitle = "-----";

    static MGIdentities *sharedIdentities();

    // Users, then a "-----" separator item and the section title "Groups", then groups.
    // Identities are CBIdentity values, titles and separators strings.
    QVariantList fullNamedIdentities();

    // Drops the cached list and announces the change (also called by the watcher).
    void reload();

signals:
    void identitiesUpdated();

private:
    explicit MGIdentities(QObject *parent = nullptr);
    void watchDatabase();

    QMutex m_lock;
    std::optional<QVariantList> m_cache;
    QFileSystemWatcher *m_watcher = nullptr;
};
