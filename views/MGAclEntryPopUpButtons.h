#pragma once

#include "MGAclEntry.h"

#include <QComboBox>

// The pop-up buttons of an entry's row, each bound to one property of the entry: a choice
// is written into the entry at once, and a change of the entry (from anywhere) shows.
// Entries that are inherited are shown, not changed.

// Allow or Deny (the entry's tag). Deny is offered but cannot be chosen where the entry is
// kept in a POSIX ACL, which has no deny entries; its tooltip says so.
class MGAclTagPopUpButton : public QComboBox
{
    Q_OBJECT
public:
    explicit MGAclTagPopUpButton(QWidget *parent = nullptr);
    void setEntry(const MGAclEntry::Pointer &entry);
    MGAclEntry::Pointer entry() const { return m_entry.lock(); }

private:
    void refresh();

    std::weak_ptr<MGAclEntry> m_entry;
    QMetaObject::Connection m_watch;
};

// The entry's permission group: the named groups the entry may take and "Custom…". Choosing
// stores the group's code in the entry (permissionGroup), then signals groupChosen, on which
// the owner opens the permission editor for "Custom…".
class MGAclPermGroupPopUpButton : public QComboBox
{
    Q_OBJECT
public:
    explicit MGAclPermGroupPopUpButton(QWidget *parent = nullptr);
    void setEntry(const MGAclEntry::Pointer &entry);
    MGAclEntry::Pointer entry() const { return m_entry.lock(); }

    // The names of the permissions an entry holds, for a tooltip.
    static QString permissionNames(const MGAclEntry &entry);

signals:
    void groupChosen(QComboBox *sender);

private:
    void refresh();

    std::weak_ptr<MGAclEntry> m_entry;
    QMetaObject::Connection m_watch;
};
