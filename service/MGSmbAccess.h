#pragma once

#include "MGAclList.h"
#include "MGNtAccessCheck.h"
#include "MGSmbAccounts.h"
#include "MGSmbAclStore.h"
#include "MGTreeNode.h"

// What an account of a file server may really do with one of its items: the server's access
// check over the item's entries for the account's token, as the server tells it, with the
// entry that decides each permission. The folder above counts where servers let it: its
// "Delete Subfolders and Files" lets an item be deleted. An item's attributes are read by
// whoever reaches it: servers do not check that right. The share's own permissions come on
// top: what they refuse, no entry of the item grants; where the server does not show them to
// the asking login, the answer says that they are not counted.
class MGSmbAccess
{
public:
    MGSmbAccess(const MGSmbAclStore &store, const MGSmbAccounts &accounts) : m_store(store), m_accounts(accounts) {}

    // The effective-permission tree (as for local items: sections holding rows, 1 granted,
    // 0 refused, -1 when it depends on what the server does not tell). With `edited`, for
    // the entries that list holds instead of the item's.
    struct Tree
    {
        QList<MGTreeNode::Pointer> nodes;
        QString caveat; // what it does not count, in a sentence; empty when it counts everything
    };
    MGResult<Tree> accessTree(const QByteArray &url, const QString &account,
                              const std::optional<MGAclList> &edited = std::nullopt) const;

    // One right, the folder above and the share counted: the decision and whose it is.
    struct Answer
    {
        MGNtAccessCheck::Decision decision;
        // Share: by the share's entry for the right; ShareReadOnly: the share does not let
        // the account write, which refuses every right that changes the item's contents;
        // ShareClosed: it lets the account neither read nor write, which keeps it out.
        enum Where { Item, Folder, Share, ShareReadOnly, ShareClosed } where = Item;
    };
    static Answer decide(const MGNtSecurityDescriptor &item, const std::optional<MGNtSecurityDescriptor> &folder,
                         const std::optional<MGNtSecurityDescriptor> &share, const MGNtToken &token, quint32 right);
    // One right by the share's permissions alone (where: one of the share's).
    static Answer decideOnShare(const MGNtSecurityDescriptor &share, const MGNtToken &token, quint32 right);

private:
    const MGSmbAclStore &m_store;
    const MGSmbAccounts &m_accounts;
};
