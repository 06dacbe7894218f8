#include "MGSmbAccess.h"

#include "MGAclPermissionSet.h"
#include "MGAclTexts.h"
#include "MGSmbAuthority.h"
#include "MGSmbShareSecurity.h"
#include "NTLocalizedString.h"

#include <QUrl>

namespace {
using namespace MGAclPermission;

QString t(const QString &key)
{
    return NTLocalizedString::localize(key, QStringLiteral("ACL"));
}

// One right by the item's entries and the folder above.
MGSmbAccess::Answer decideOnItem(const MGNtSecurityDescriptor &item, const std::optional<MGNtSecurityDescriptor> &folder,
                                 const MGNtToken &token, quint32 right)
{
    // Servers let whoever reaches an item read its attributes, whatever its entries say.
    if (right == ReadAttributes)
        return {{MGNtAccessCheck::Decision::Server, true, -1}, MGSmbAccess::Answer::Item};
    const MGNtAccessCheck::Decision own = MGNtAccessCheck::decide(item, token, right);
    if (own.granted || !folder || own.source == MGNtAccessCheck::Decision::Unknown || right != Delete)
        return {own, MGSmbAccess::Answer::Item};
    // A folder's "Delete Subfolders and Files" lets what is in it be deleted.
    const MGNtAccessCheck::Decision above = MGNtAccessCheck::decide(*folder, token, DeleteChild);
    if (above.granted)
        return {above, MGSmbAccess::Answer::Folder};
    return {own, MGSmbAccess::Answer::Item};
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
                                        const std::optional<MGNtSecurityDescriptor> &share, const MGNtToken &token, quint32 right)
{
    const Answer own = decideOnItem(item, folder, token, right);
    if (!share)
        return own;
    // What the share refuses, the item cannot grant; what it grants, the item decides. A
    // delete the folder allows needs the share to allow deleting what is in folders as well.
    for (const quint32 asked : {right, own.where == Answer::Folder ? quint32(DeleteChild) : 0u}) {
        if (!asked)
            continue;
        const Answer byShare = decideOnShare(*share, token, asked);
        if (byShare.decision.granted || (!own.decision.granted && own.decision.source != MGNtAccessCheck::Decision::Unknown))
            continue;
        if (byShare.decision.source == MGNtAccessCheck::Decision::Unknown && own.decision.source == MGNtAccessCheck::Decision::Unknown)
            continue;
        return byShare;
    }
    return own;
}

MGSmbAccess::Answer MGSmbAccess::decideOnShare(const MGNtSecurityDescriptor &share, const MGNtToken &token, quint32 right)
{
    // A share that lets an account neither read nor write keeps it out altogether; one that
    // does not let it write is read-only to it, whatever else it grants (as Samba decides).
    const MGNtAccessCheck::Decision write = MGNtAccessCheck::decide(share, token, WriteData);
    if (!write.granted && right != WriteData) {
        const MGNtAccessCheck::Decision read = MGNtAccessCheck::decide(share, token, ReadData);
        if (!read.granted)
            return {read.source == MGNtAccessCheck::Decision::Unknown ? read : write, Answer::ShareClosed};
        if (right & (AppendData | WriteNamedAttributes | WriteAttributes | DeleteChild))
            return {write, Answer::ShareReadOnly};
    }
    return {MGNtAccessCheck::decide(share, token, right), Answer::Share};
}

MGResult<MGSmbAccess::Tree> MGSmbAccess::accessTree(const QByteArray &url, const QString &account,
                                                             const std::optional<MGAclList> &edited) const
{
    const QString server = QUrl::fromEncoded(url).host();
    MGResult<MGNtToken> token = m_accounts.tokenFor(server, account);
    if (!token)
        return token.error();
    QStringList notCounted;
    // The privileges of the token's SIDs; aliases known by name only are not asked about.
    if (const MGResult<QSet<QString>> rights = MGSmbAuthority(m_store.client()).rightsOf(server, token->sids.values()))
        token->privileges = *rights;
    else
        notCounted << t(QStringLiteral("The server\u2019s privileges, which it does not tell this login, are not counted: "
                                       "they may grant taking ownership."));
    MGResult<MGNtSecurityDescriptor> item = m_store.readDescriptor(url);
    if (!item)
        return item.error();
    if (item->otherKinds() > 0)
        notCounted << t(QStringLiteral("Entries of kinds not shown here (object or conditional), which the server may "
                                       "count, are not counted."));
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
    // The share's own permissions, where the server shows them to this login.
    const std::optional<MGNtSecurityDescriptor> share = MGSmbShareSecurity(m_store.client()).shownDescriptorFor(url);
    // An entry the server does not name, by the token's name for it, or its SID.
    auto nameOf = [&](const MGNtAce &ace) { return !ace.name.isEmpty() ? ace.name : token->names.value(ace.sid, ace.sid); };
    auto decidedBy = [&](const Answer &answer) {
        const MGNtAccessCheck::Decision &d = answer.decision;
        const MGNtSecurityDescriptor &where = answer.where == Answer::Folder ? *folder
                                              : answer.where >= Answer::Share ? *share
                                                                              : *item;
        switch (d.source) {
        case MGNtAccessCheck::Decision::Owner:
            return t(QStringLiteral("the owner\u2019s own right"));
        case MGNtAccessCheck::Decision::NoEntry:
            switch (answer.where) {
            case Answer::Share:
                return t(QStringLiteral("the share\u2019s permissions do not grant it"));
            case Answer::ShareReadOnly:
                return t(QStringLiteral("the share\u2019s permissions do not grant writing (read-only to the account)"));
            case Answer::ShareClosed:
                return t(QStringLiteral("the share\u2019s permissions grant neither reading nor writing"));
            default:
                return t(QStringLiteral("no entry grants it"));
            }
        case MGNtAccessCheck::Decision::Server:
            return t(QStringLiteral("the server, for whoever reaches the item"));
        case MGNtAccessCheck::Decision::Privilege:
            return t(QStringLiteral("the privilege to take ownership"));
        case MGNtAccessCheck::Decision::Unknown: {
            const QString entry = t(QStringLiteral("entry %1, if the account is in %2, which the server does not tell"))
                                      .arg(d.ace + 1)
                                      .arg(nameOf(where.aces[d.ace]));
            return answer.where >= Answer::Share ? t(QStringLiteral("the share\u2019s %1")).arg(entry) : entry;
        }
        case MGNtAccessCheck::Decision::Entry: {
            const MGNtAce &ace = where.aces[d.ace];
            const QString entry = (ace.type == MGNtAce::Denied ? t(QStringLiteral("the entry %1 (Deny, entry %2)"))
                                                               : t(QStringLiteral("the entry %1 (Allow, entry %2)")))
                                      .arg(nameOf(ace))
                                      .arg(d.ace + 1);
            if (answer.where == Answer::Folder)
                return t(QStringLiteral("%1 of the folder above")).arg(entry);
            if (answer.where == Answer::Share)
                return t(QStringLiteral("%1 of the share")).arg(entry);
            if (answer.where == Answer::ShareReadOnly)
                return t(QStringLiteral("%1 of the share (read-only to the account)")).arg(entry);
            if (answer.where == Answer::ShareClosed)
                return t(QStringLiteral("%1 of the share (which keeps the account out)")).arg(entry);
            return entry;
        }
        }
        return QString();
    };
    auto row = [&](quint32 bit) {
        const Answer answer = decide(*item, folder, share, *token, bit);
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
    // The share may still refuse what the item grants; this login cannot see whether.
    if (!share)
        notCounted.prepend(MGSmbShareSecurity::notCounted());
    return Tree{tree, notCounted.join(QLatin1Char(' '))};
}
