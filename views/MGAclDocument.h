#pragma once

#include "CBIdentity.h"
#include "MGAclEditSession.h"
#include "MGTreeNode.h"

#include <QObject>
#include <QUrl>
#include <QVariantList>

class QAction;

// The plug-in object as the editor's views see it: the item's edit session (its list, the
// table's model), the effective-access tree with the identity it is for, and what it says
// about the item, each observable through its changed signal. The views reach it only
// through this interface, so they do not depend on the plug-in object's own code (which
// builds them). Main thread only.
class MGAclDocument : public QObject
{
    Q_OBJECT
public:
    // The edit session: the list, its edits and what the item allows (the table shows and
    // edits it as its model).
    virtual MGAclEditSession *session() const = 0;
    virtual QUrl url() const = 0;
    virtual MGAclList entries() const = 0;
    // The list as it was last read from the item.
    virtual MGAclList revertedEntries() const = 0;
    virtual QList<MGTreeNode::Pointer> access() const = 0;
    // A folder on the item's path that keeps the identity out, whatever access() says; empty
    // when none does. Changes with access.
    virtual QString accessBlockedBy() const = 0;
    // What access() could not count, in a sentence (a file server's share permissions the
    // login may not read); empty when it counted everything. Changes with access.
    virtual QString accessCaveat() const = 0;
    // Why the item can hold no ACL entries (its file system keeps none); empty when it can.
    // Changes with entries.
    virtual QString aclUnavailableReason() const = 0;
    // What the window says above the entries about the item itself.
    using Notice = MGAclEditSession::Notice;
    virtual Notice notice() const = 0;
    // Whether the list differs from what was read (changes with editedChanged), and whether
    // access() shows what the edited list would give instead of the item as saved.
    virtual bool isEdited() const = 0;
    virtual bool showsAccessAsEdited() const = 0;
    virtual void setShowsAccessAsEdited(bool asEdited) = 0;
    // The answers to what the bar says: read the item again, dropping the edits (changed on
    // disk, replaced, gone); keep them, so that a save writes them over what is on disk; have
    // back the edits a refused save left.
    virtual void reloadFromDisk() = 0;
    virtual void keepEditsOverDisk() = 0;
    virtual void restoreDiscardedEdits() = 0;
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
