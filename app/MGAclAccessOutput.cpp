#include "MGAclAccessOutput.h"

#include "MGAclJson.h"
#include "MGAclTexts.h"

#include <QJsonArray>

namespace {
QString keyOf(const MGTreeNode &node)
{
    return node.key().isEmpty() ? MGAclTexts::scriptWord(node.title()) : node.key();
}

QString stateOf(const MGTreeNode &node)
{
    return node.state() == 1 ? QStringLiteral("yes") : node.state() == 0 ? QStringLiteral("no") : QStringLiteral("partly");
}

// Calls `row` with each permission and the section it is in.
template <typename Row>
void forEachPermission(const QList<MGTreeNode::Pointer> &tree, Row row)
{
    for (const MGTreeNode::Pointer &section : tree) {
        for (const MGTreeNode::Pointer &permission : section->childNodes())
            row(*section, *permission);
    }
}
}

namespace MGAclAccessOutput {

QString text(const QList<MGTreeNode::Pointer> &tree, const QString &caveat)
{
    QString out;
    if (!caveat.isEmpty())
        out += QStringLiteral("# ") + QString(caveat).replace(QLatin1Char('\n'), QLatin1Char(' ')) + QLatin1Char('\n');
    forEachPermission(tree, [&out](const MGTreeNode &section, const MGTreeNode &permission) {
        // The sentence names accounts, whose names may hold anything: it stays one field.
        QString detail = permission.detail();
        for (QChar &c : detail) {
            if (c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r'))
                c = QLatin1Char(' ');
        }
        out += QStringLiteral("%1\t%2\t%3\t%4\n").arg(keyOf(section), keyOf(permission), stateOf(permission), detail);
    });
    return out;
}

QByteArray json(const QList<MGTreeNode::Pointer> &tree, const QByteArray &path, const CBIdentity &who,
                const QByteArray &blockedBy, const QString &caveat)
{
    QJsonObject item;
    MGAclJson::putBytes(item, QStringLiteral("path"), path);
    if (who.isPrincipal())
        // A file server's account, by the name it was asked for (and its SID where known).
        item.insert(QStringLiteral("who"), QJsonObject{{QStringLiteral("kind"), QStringLiteral("account")},
                                                       {QStringLiteral("name"), who.posixName()},
                                                       {QStringLiteral("sid"), who.sid()}});
    else
        item.insert(QStringLiteral("who"),
                    QJsonObject{{QStringLiteral("kind"), who.isUser() ? QStringLiteral("user") : QStringLiteral("group")},
                                {QStringLiteral("name"), who.posixName().isEmpty() ? QString::number(who.posixID()) : who.posixName()},
                                {QStringLiteral("id"), qint64(who.posixID())}});
    if (!blockedBy.isEmpty())
        MGAclJson::putBytes(item, QStringLiteral("blockedBy"), blockedBy);
    if (!caveat.isEmpty())
        item.insert(QStringLiteral("caveat"), caveat);
    QJsonArray permissions;
    forEachPermission(tree, [&permissions](const MGTreeNode &section, const MGTreeNode &permission) {
        permissions.append(QJsonObject{{QStringLiteral("section"), keyOf(section)},
                                       {QStringLiteral("permission"), keyOf(permission)},
                                       {QStringLiteral("state"), stateOf(permission)},
                                       {QStringLiteral("decidedBy"), permission.detail()}});
    });
    item.insert(QStringLiteral("permissions"), permissions);
    return MGAclJson::line(item);
}
}
