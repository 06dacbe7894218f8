#include "MGAclReadCommands.h"

#include "MGAclAccessOutput.h"
#include "MGAclCommandSupport.h"
#include "MGAclListOutput.h"
#include "MGItemPaths.h"

#include <QFile>
#include <cstdio>

using namespace MGAclCommandSupport;

namespace MGAclReadCommands {

int list(const QByteArray &path, bool json)
{
    const std::optional<QUrl> item = itemFor(path);
    if (!item)
        return Failure;
    const QUrl url = *item;
    return runOnQueue([url, json](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->getEntriesWithUrl(url, [url, json, finish](std::optional<MGAclList> list, MGResultError error) {
            if (list && json)
                writeOut(MGAclListOutput::json(*list, MGItemPaths::nativePath(url)));
            else if (list)
                writeOut(MGAclListOutput::text(*list).toUtf8());
            else if (error)
                printError(*error);
            finish(list ? Success : error ? Failure : Dismissed);
        });
    });
}

int access(const QByteArray &who, const QByteArray &path, bool json)
{
    const std::optional<Subject> given = subjectFor(who, path);
    if (!given)
        return Failure;
    const QUrl url = given->item;
    const CBIdentity subject = given->who;
    return runOnQueue([url, subject, json](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->getAccessWithUrl(url, subject.uniqueIdentifier(),
                                 [url, subject, json, finish](auto tree, MGResultError error, const auto &notes) {
            const QString &blockedBy = notes.blockedBy;
            if (tree && json) {
                writeOut(MGAclAccessOutput::json(*tree, MGItemPaths::nativePath(url), subject, QFile::encodeName(blockedBy)));
            } else if (tree) {
                if (!blockedBy.isEmpty())
                    writeOut((localized("# \u201c%1\u201d cannot enter the folder \u201c%2\u201d on this item's path; "
                                        "below is what the item itself allows.")
                                  .arg(subject.displayName(), blockedBy)
                              + QLatin1Char('\n'))
                                 .toUtf8());
                writeOut(MGAclAccessOutput::text(*tree).toUtf8());
            } else if (error) {
                printError(*error);
            }
            finish(tree ? Success : error ? Failure : Dismissed);
        });
    });
}
}
