#include "MGAclAuditCommand.h"

#include "MGAclCommandSupport.h"
#include "MGAclJson.h"
#include "MGAclTextFormat.h"

#include <QHash>
#include <cstdio>

using namespace MGAclCommandSupport;

namespace MGAclAuditCommand {

int run(const QByteArray &who, const QByteArray &path, const QString &level, bool summary, bool json)
{
    const std::optional<Subject> given = subjectFor(who, path);
    if (!given)
        return Failure;
    const QUrl url = given->item;
    const QUuid uuid = given->who.uniqueIdentifier();
    return runOnQueue([=](std::shared_ptr<MGAclServiceClient> client, Finish finish) {
        client->auditWithUrl(url, uuid, level, summary, [finish, json](MGAclServiceClient::Outcome<QByteArray> outcome) {
            if (outcome.result)
                writeOut(json ? jsonOf(*outcome.result) : *outcome.result);
            finish(statusOf<QByteArray>(outcome));
        });
    });
}

QByteArray jsonOf(const QByteArray &text)
{
    static const QHash<QByteArray, QString> counts = {{"read-write", QStringLiteral("readWrite")},
                                                      {"read-only", QStringLiteral("readOnly")},
                                                      {"write-only", QStringLiteral("writeOnly")},
                                                      {"neither", QStringLiteral("neither")},
                                                      {"not-entered", QStringLiteral("notEntered")}};
    QByteArray out;
    QJsonObject summary;
    for (const QByteArray &line : text.split('\n')) {
        if (line.isEmpty())
            continue;
        if (line.startsWith('#')) {
            out += MGAclJson::line({{QStringLiteral("note"), QString::fromUtf8(line.mid(1).trimmed())}});
            continue;
        }
        const QByteArrayList fields = line.split('\t');
        if (fields.size() == 2 && counts.contains(fields[0])) {
            summary.insert(counts.value(fields[0]), fields[1].toLongLong());
        } else if (fields.size() >= 3) {
            QJsonObject item{{QStringLiteral("permissions"), QString::fromUtf8(fields[0])},
                             {QStringLiteral("grantedBy"), QString::fromUtf8(fields[1])}};
            // A path holds no tab or line break as written: getfacl's escapes stand for them.
            MGAclJson::putBytes(item, QStringLiteral("path"), MGAclTextFormat::unescapePath(fields.mid(2).join('\t')));
            out += MGAclJson::line(item);
        }
    }
    if (!summary.isEmpty())
        out += MGAclJson::line(summary);
    return out;
}
}
