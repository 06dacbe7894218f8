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
// whoever reaches it: servers do not check that right.
class MGSmbAccess
{
public:
    MGSmbAccess(const MGSmbAclStore &store, const MGSmbAccounts &accounts) : m_store(store), m_accounts(accounts) {}

    // The effective-permission tree (as for local items: sections holding rows, 1 granted,
    // 0 refused, -1 when it depends on what the server does not tell). With `edited`, for
    // the entries that list holds instead of the item's.
    MGResult<QList<MGTreeNode::Pointer>> accessTree(const QByteArray &url, const QString &account,
                                                    const std::optional<MGAclList> &edited = std::nullopt) const;

    // One right, the folder above counted: the decision and who made it.
    struct Answer
    {
        MGNtAccessCheck::Decision decision;
        bool byFolder = false; // granted by the folder's right, not the item's entries
    };
    static Answer decide(const MGNtSecurityDescriptor &item, const std::optional<MGNtSecurityDescriptor> &folder,
                         const MGNtToken &token, quint32 right);

private:
    const MGSmbAclStore &m_store;
    const MGSmbAccounts &m_accounts;
};
