#pragma once

#include "CBIdentity.h"

#include <QComboBox>
#include <QPointer>

class QLineEdit;
class QListView;
class MGIdentityPopUp;

// A pop-up button for choosing a user or a group, also from thousands. Its items are built
// from an identity list (CBIdentity values, "-----" placeholders, section titles), by its
// owner, who also tidies them just before they show (menuAboutToShow). The list it opens has
// a search field: typing shows the users and groups whose login or full name contains the
// text, Enter takes the first or the one picked. Users and groups have their own icons, so a
// user and a group of the same name are told apart.
class MGIdentityPopUpButton : public QComboBox
{
    Q_OBJECT
public:
    explicit MGIdentityPopUpButton(QWidget *parent = nullptr);
    ~MGIdentityPopUpButton() override;

    // Rebuilds the items from an identity list and selects `current` (listed first when the
    // list lacks it, as an id without an account would be).
    void setIdentities(const QVariantList &identities, const CBIdentity &current);
    // The identity of the selected item; invalid when none is selected.
    CBIdentity identity() const;
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

private:
    friend class MGIdentityPopUp;
    void choose(int row);

    QPointer<MGIdentityPopUp> m_popUp;
};

// The tidying every identity menu gets just before it opens: an item titled "-----" becomes
// a separator in its place; an item that is not an identity (a section title) stays visible
// but cannot be chosen. Nothing is added, reordered or checked.
namespace MGIdentityMenus {
void menuNeedsUpdate(QComboBox *menu);
}
