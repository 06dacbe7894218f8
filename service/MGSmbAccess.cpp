#include "MGSmbAccess.h"

#include "MGAclPermissionSet.h"
#include "MGAclTexts.h"
#include "NTLocalizedString.h"

#include <QUrl>

namespace {
using namespace MGAclPermission;

QString t(const QString &key)
{
    return NTLocalizedString::localize(key, QStringLiteral("ACL"));
}

// The URL of the folder an item is in; none for a share's top.
std::optional<QByteArray> folderOf(const QByteArray &url)
{
    QUrl item = QUrl::fromEncoded(url);
    const QString path = item.path();
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'), path.endsWith(QLatin1Char('/')) ? -2 : -1);
    if (slash <= 0 || path.indexOf(QLatin1Char('/'), 1) >= slash)
        return std::nullopt;
    item.setPath(path.left(slash));
    return item.toEncoded();
}
}

MGSmbAccess::Answer MGSmbAccess::decide(const MGNtSecurityDescriptor &item, const std::optional<MGNtSecurityDescriptor> &folder,
                                        const MGNtToken &token, quint32 right)
{
    // Servers let whoever reaches an item read its attributes, whatever its entries say.
    if (right == ReadAttributes)
        return {{MGNtAccessCheck::Decision::Server, true, -1}, false};
    const MGNtAccessCheck::Decision own = MGNtAccessCheck::decide(item, token, right);
    if (own.granted || !folder || own.source == MGNtAccessCheck::Decision::Unknown)
        return {own, false};
    const quint32 folderRight = right == Delete ? DeleteChild : 0;
    if (!folderRight)
        return {own, false};
    const MGNtAccessCheck::Decision above = MGNtAccessCheck::decide(*folder, token, folderRight);
    if (above.granted)
        return {above, true};
    return {own, false};
}

MGResult<QList<MGTreeNode::Pointer>> MGSmbAccess::accessTree(const QByteArray &url, const QString &account,
                                                             const std::optional<MGAclList> &edited) const
{
    const QString server = QUrl::fromEncoded(url).host();
    const MGResult<MGNtToken> token = m_accounts.tokenFor(server, account);
    if (!token)
        return token.error();
    MGResult<MGNtSecurityDescriptor> item = m_store.readDescriptor(url);
    if (!item)
        return item.error();
    const MGResult<struct stat> status = m_store.client().status(url);
    if (!status)
        return status.error();
    const bool dir = S_ISDIR(status->st_mode);
    if (edited) {
        const MGResult<MGNtSecurityDescriptor> proposed = MGNtSecurityDescriptor::fromList(*edited);
        if (!proposed)
            return proposed.error();
        item = *proposed;
    }
    std::optional<MGNtSecurityDescriptor> folder;
    if (const std::optional<QByteArray> above = folderOf(url)) {
        // A folder the asking account cannot read counts for nothing here.
        if (const MGResult<MGNtSecurityDescriptor> read = m_store.readDescriptor(*above))
            folder = *read;
    }
    auto decidedBy = [&](const Answer &answer) {
        const MGNtAccessCheck::Decision &d = answer.decision;
        const MGNtSecurityDescriptor &where = answer.byFolder ? *folder : *item;
        switch (d.source) {
        case MGNtAccessCheck::Decision::Owner:
            return t(QStringLiteral("the owner\u2019s own right"));
        case MGNtAccessCheck::Decision::NoEntry:
            return t(QStringLiteral("no entry grants it"));
        case MGNtAccessCheck::Decision::Server:
            return t(QStringLiteral("the server, for whoever reaches the item"));
        case MGNtAccessCheck::Decision::Unknown: {
            const MGNtAce &ace = where.aces[d.ace];
            return t(QStringLiteral("entry %1, if the account is in %2, which the server does not tell"))
                .arg(d.ace + 1)
                .arg(ace.name.isEmpty() ? ace.sid : ace.name);
        }
        case MGNtAccessCheck::Decision::Entry: {
            const MGNtAce &ace = where.aces[d.ace];
            const QString who = ace.name.isEmpty() ? ace.sid : ace.name;
            const QString entry = (ace.type == MGNtAce::Denied ? t(QStringLiteral("the entry %1 (Deny, entry %2)"))
                                                               : t(QStringLiteral("the entry %1 (Allow, entry %2)")))
                                      .arg(who)
                                      .arg(d.ace + 1);
            return answer.byFolder ? t(QStringLiteral("%1 of the folder above")).arg(entry) : entry;
        }
        }
        return QString();
    };
    auto row = [&](quint32 bit) {
        const Answer answer = decide(*item, folder, *token, bit);
        const QString key = MGAclPermissionSet::permissionKey(bit, dir);
        // A right that depends on what the server does not tell is neither: its detail says on what.
        const int state = answer.decision.source == MGNtAccessCheck::Decision::Unknown ? -1 : answer.decision.granted ? 1 : 0;
        MGTreeNode::Pointer node = MGTreeNode::treeNodeWithRepresentedObject(t(key), state);
        node->setKey(MGAclTexts::scriptWord(key));
        node->setDetail(decidedBy(answer));
        return node;
    };
    auto section = [&](const char *key, const QList<quint32> &bits) {
        MGTreeNode::Pointer node = MGTreeNode::treeNodeWithRepresentedObject(t(QString::fromLatin1(key)), -1);
        node->setKey(MGAclTexts::scriptWord(QString::fromLatin1(key)));
        for (const quint32 bit : bits)
            node->addChild(row(bit));
        return node;
    };
    QList<MGTreeNode::Pointer> tree;
    tree << section("Read", {ReadData, ReadNamedAttributes, ReadAttributes, ReadAcl});
    tree << section("Write", dir ? QList<quint32>{WriteData, AppendData, WriteNamedAttributes, WriteAttributes, DeleteChild, Delete}
                                 : QList<quint32>{WriteData, AppendData, WriteNamedAttributes, WriteAttributes, Delete});
    tree << section("Execute", {Execute});
    tree << section("Administration", {WriteAcl, WriteOwner});
    return tree;
}
