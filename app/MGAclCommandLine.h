#pragma once

#include "MGAclCommandSyntax.h"
#include "MGAclHelpPage.h"

#include <QByteArrayList>

// The text commands of marrowgate-acl, as its help page (app/help/marrowgate-acl.help)
// gives them: their arguments are checked against the page's usages, then each runs in its
// own place (MGAclReadCommands, MGAclEditCommands, MGAclPropagateCommand,
// MGAclBackupCommands, MGAclAuditCommand). They go through the same client layer as the
// window: the ordinary service first, the privileged one after an authorisation.
// Exit status: 0 success; 1 with the error on standard error; 2, silently, when an
// authorisation was dismissed; 64 for a command used wrongly; 130 a propagation stopped.
class MGAclCommandLine
{
public:

    static const MGAclHelpPage &helpPage();
    // How to use marrowgate-acl, in the user's language.
    static QString usage();
    // The usage of one command; nothing for a word that is none.
    static std::optional<MGAclCommandSyntax> syntaxOf(const QByteArray &command);

    // `arguments`: as the program got them (without its name), bytes: paths need not be UTF-8.
    static bool handles(QByteArrayList arguments);
    // Runs the command in `arguments`; needs a QCoreApplication. "--authentication-file FILE"
    // anywhere gives the account for file servers.
    static int run(QByteArrayList arguments);
    // Takes "--authentication-file FILE" out of `arguments` and remembers its account; the
    // command's status when that failed. Without one, a terminal is asked when a server
    // refuses.
    static std::optional<int> takeAuthentication(QByteArrayList &arguments);
};
