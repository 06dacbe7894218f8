#include "MGAclAuditCommand.h"

#include "MGAclCommandSupport.h"

#include <cstdio>

using namespace MGAclCommandSupport;

namespace MGAclAuditCommand {

int run(const QByteArrayList &arguments)
{
    // WHO PATH, then the options in any order.
    QString level = QStringLiteral("write");
    bool summary = false;
    QByteArrayList words;
    int levels = 0;
    for (const QByteArray &argument : arguments) {
        if (argument == "--write" || argument == "--read" || argument == "--any") {
            level = QString::fromLatin1(argument.mid(2));
            ++levels;
        } else if (argument == "--summary") {
            summary = true;
        } else {
            words << argument;
        }
    }
    if (words.size() != 2 || levels > 1) {
        std::fprintf(stderr, "marrowgate-acl audit: give a user or group and a path, and at most one of --write, "
                             "--read and --any\n");
        return Usage;
    }
    const auto identity = identityFor(words[0]);
    if (!identity)
        return Failure;
    const std::optional<QUrl> item = itemFor(words[1]);
    if (!item)
        return Failure;
    const QUrl url = *item;
    const QUuid uuid = identity->uniqueIdentifier();
    return runOnQueue([=](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->auditWithUrl(url, uuid, level, summary, [finish](MGAclServiceClient::Outcome<QByteArray> outcome) {
            if (outcome.result)
                std::fwrite(outcome.result->constData(), 1, size_t(outcome.result->size()), stdout);
            finish(statusOf<QByteArray>(outcome));
        });
    });
}
}
