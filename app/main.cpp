// marrowgate-acl: the ACL editor's host program and command line.
#include "MGAclCommandLine.h"
#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QLocale>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    NTLocalizedString::installTranslation(QLocale::system().name());
    const QStringList arguments = app.arguments().mid(1);
    return MGAclCommandLine::run(arguments);
}
