#pragma once

#include <QByteArrayList>
#include <QSize>
#include <QString>

// The window commands of marrowgate-acl, read from the program's arguments (bytes: paths
// need not be UTF-8) and checked before any window is made:
//   PATH                                          the ACL window for one file or folder
//   screenshot PATH OUT.png [--tab 0|1] [--permissions ROW] [--find ROW TEXT] [--add WHO]
//                                                 [--size WIDTHxHEIGHT] [--elsewhere ENTRY]
//                                                 [--who USER-OR-GROUP] [--as-edited]
// Either takes "--authentication-file FILE" for an item on a file server (smb://).
// The command line checks them and says what is wrong; the window host reads them again.
struct MGAclWindowArguments
{
    bool screenshot = false;
    QByteArray path;
    QString out;
    int tab = 0;
    int permissionsRow = -1;
    int findRow = -1;
    QString find;
    QString add;
    QSize size;
    QString elsewhere;
    QString who;
    bool asEdited = false;
    // "--authentication-file FILE": the account for an item on a file server.
    QString authenticationFile;

    // The arguments read; `error` says what is wrong with them when nothing is answered.
    static std::optional<MGAclWindowArguments> read(QByteArrayList arguments, QString *error);
    // What else must hold before the window is shown: the item exists, the picture's folder
    // exists, there is a display to show a window on. Empty when all does.
    QString problem() const;
    // What is wrong with the item alone (missing, a link to nothing); empty when it is there.
    QString itemProblem() const;
    // Whether a window can be shown: a display, or a platform named by QT_QPA_PLATFORM.
    static bool hasDisplay();
};
