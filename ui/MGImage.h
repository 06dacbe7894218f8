#pragma once

#include <QIcon>

// The product's small toolbar and status images, drawn in code so that they look the
// same on every desktop and need no icon theme.
class MGImage
{
public:
    static QIcon plusImage();
    static QIcon minusImage();
    static QIcon settingsImage();
    static QIcon checkmarkImage();
    static QIcon xmarkImage();
    // What an identity is: one user, or a group of users.
    static QIcon userImage();
    static QIcon groupImage();
};
