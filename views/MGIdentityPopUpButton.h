#pragma once

#include "CBIdentity.h"

#include <QComboBox>
#include <QPointer>
#include <functional>
#include <optional>

class QConcatenateTablesProxyModel;
class QLabel;
class QLineEdit;
class QListView;
class QStandardItemModel;
class MGIdentityListModel;
class MGIdentityPopUp;
class MGIdentityExclusionModel;

// A pop-up button for choosing a user or a group, also from thousands. It shows an identity
// list model (usually the one shared list, MGIdentityListModel::sharedModel()) through a
// filter of its own that leaves out the identities its owner excludes; nothing is copied per
// button. The list it opens has a search field: typing shows the users and groups whose
// login or full name contains the text, Enter takes the first or the one picked, and
// "uid:N" or "gid:N" takes an id that has no account. Typing on the closed button opens the
// list with what was typed. Users and groups have their own icons, so a user and a group of
// the same name are told apart.
class MGIdentityPopUpButton : public QComboBox
{
    Q_OBJECT
public:
    explicit MGIdentityPopUpButton(QWidget *parent = nullptr);
    ~MGIdentityPopUpButton() override;

    // Shows an identity list model (not owned) and selects `current`.
    void setIdentityModel(QAbstractItemModel *identities, const CBIdentity &current);
    // Shows a list of its own, made from identity list items.
    void setIdentities(const QVariantList &identities, const CBIdentity &current);
    // The identities not to offer (the current one is always offered); asked once per row
    // whenever the exclusion is set again.
    void setExcluded(std::function<bool(const CBIdentity &)> excluded);
    // What Enter takes when the typed text matches nothing listed (besides "uid:N" and
    // "gid:N"): an account known by name elsewhere, a file server's. None when unset.
    using TypedIdentity = std::function<std::optional<CBIdentity>(const QString &text)>;
    void setTypedIdentity(TypedIdentity typed) { m_typed = std::move(typed); }
    // The identity of the selected item; invalid when none is selected.
    CBIdentity identity() const;
    // Selects an identity, listed first when the list lacks it (an id without an account).
    void setIdentity(const CBIdentity &identity);
    // "Full Name (login)", or the login alone.
    static QString titleFor(const CBIdentity &identity);

    void showPopup() override;
    void hidePopup() override;
    // The open list's search field and list (for tests and screenshots); null when closed.
    QLineEdit *searchField() const;
    QListView *listView() const;

signals:
    // The list is about to open: the owner builds and tidies the items now.
    void menuAboutToShow(QComboBox *menu);
    // The user chose an identity.
    void identityChosen(const CBIdentity &identity);
    // The open list closed without a choice: by Escape (`escaped`), or a click elsewhere.
    void dismissed(bool escaped);
    // The open list closed without a choice by Tab (`forward`) or Shift+Tab.
    void tabbedAway(bool forward);

public:
    // Chooses `identity` as a pick from the list does (the list closes, identityChosen).
    void chooseIdentity(const CBIdentity &identity);

    // Why a search finds less than it would: the open list's note (null when closed).
    QLabel *exclusionHint() const;

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    friend class MGIdentityPopUp;
    void choose(int row);
    // An identity the closed button moved to (a key, the wheel) is chosen.
    void chooseIfMoved(const CBIdentity &before);

    QPointer<MGIdentityPopUp> m_popUp;
    MGIdentityListModel *m_ownList = nullptr;
    MGIdentityExclusionModel *m_filter = nullptr;
    QStandardItemModel *m_extra = nullptr;
    QConcatenateTablesProxyModel *m_shown = nullptr;
    TypedIdentity m_typed;
};

// The tidying every identity menu gets just before it opens: an item titled "-----" becomes
// a separator in its place; an item that is not an identity (a section title) stays visible
// but cannot be chosen. Nothing is added, reordered or checked.
namespace MGIdentityMenus {
void menuNeedsUpdate(QComboBox *menu);
}
