#pragma once

#include "CBIdentity.h"
#include "MGAclList.h"
#include "MGTreeNode.h"

#include <QObject>
#include <QUrl>
#include <QVariantList>

class QAction;

// The plug-in object as the editor's views see it: the item, its entry list, the
// effective-access tree with the identity it is for, and what it says about the item,
// each observable through its changed signal. The views reach it only through this
// interface, so they do not depend on the plug-in object's own code (which builds them).
// Main thread only.
class MGAclDocument : public QObject
{
    Q_OBJECT
public:
    virtual QUrl url() const = 0;
    virtual MGAclList entries() const = 0;
    // The list as it was last read from the item.
    virtual MGAclList revertedEntries() const = 0;
    virtual QList<MGTreeNode::Pointer> access() const = 0;
    // A folder on the item's path that keeps the identity out, whatever access() says; empty
    // when none does. Changes with access.
    virtual QString accessBlockedBy() const = 0;
    // Why the item can hold no ACL entries (its file system keeps none); empty when it can.
    // Changes with entries.
    virtual QString aclUnavailableReason() const = 0;
    // What the window says above the entries about the item itself.
    struct Notice
    {
        enum Kind {
            None,
            AsksAuthorisation, // saving will ask for an administrator's authorisation
            NoAcls, // its file system keeps no ACLs: only the permission bits can be changed
            ChangedOnDisk, // changed elsewhere while the list is edited: reload, or keep the edits
            Blocked, // nobody can change it (a mark, a read-only mount, its kind): editing is off
            Gone, // deleted or moved away: nothing can be saved
        };
        Kind kind = None;
        QString text;
    };
    virtual Notice notice() const = 0;
    // Whether the list differs from what was read (changes with editedChanged), and whether
    // access() shows what the edited list would give instead of the item as saved.
    virtual bool isEdited() const = 0;
    virtual bool showsAccessAsEdited() const = 0;
    virtual void setShowsAccessAsEdited(bool asEdited) = 0;
    // The two answers to ChangedOnDisk: read the item again, dropping the edits; or keep
    // them, so that a save writes them over what is on disk.
    virtual void reloadFromDisk() = 0;
    virtual void keepEditsOverDisk() = 0;
    virtual CBIdentity identity() const = 0;
    virtual void setIdentity(const CBIdentity &identity) = 0;
    // Moves the entry at one row of `entries` to a drop row (between rows `toIndex` - 1
    // and `toIndex`).
    virtual void moveEntryAtIndex(qsizetype from, qsizetype toIndex) = 0;
    // Whether a command of the window's menus may be chosen now.
    Q_INVOKABLE virtual bool validateMenuItem(QAction *item) = 0;

signals:
    void entriesChanged();
    void noticeChanged();
    void editedChanged();
    void accessChanged();
    // The account database changed: the shared identity list reads it again by itself.
    void identitiesChanged();
    void identityChanged();
};
