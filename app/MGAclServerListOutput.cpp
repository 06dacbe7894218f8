#include "MGAclServerListOutput.h"

#include "MGAclJson.h"
#include "MGItemPaths.h"
#include "MGNtEntryText.h"

#include <QJsonArray>

namespace {
MGNtAce aceOf(const MGAclEntry &entry)
{
    const quint32 flags = (entry.flags() & MGAclFlag::Inheritance) | (entry.inherited() ? MGNtSecurityDescriptor::InheritedFlag : 0);
    return MGNtAce{entry.tag() == MGAclEntry::Deny ? MGNtAce::Denied : MGNtAce::Allowed, flags, entry.permissions(),
                   entry.identity().sid(), entry.identity().posixName()};
}

const MGAclEntry *ownerOf(const MGAclList &list, MGAclEntry::Kind kind)
{
    for (const MGAclItem &item : list) {
        const MGAclEntry *entry = MGAclLists::entryOf(item);
        if (entry && entry->kind() == kind)
            return entry;
    }
    return nullptr;
}

// What the list says of the item beyond its entries (protected from inheritance, entries of
// kinds it does not show), which the title of its owner's section carries; empty when that
// title is the plain one.
QString remark(const MGAclList &list)
{
    QString title;
    for (const MGAclItem &item : list) {
        if (const QString *text = std::get_if<QString>(&item))
            title = *text;
        else if (const MGAclEntry *entry = MGAclLists::entryOf(item); entry && entry->kind() == MGAclEntry::Kind::Owner)
            return title == MGNtSecurityDescriptor::ownerTitle(false) ? QString() : title;
    }
    return QString();
}

bool canonical(const MGAclList &list)
{
    const MGResult<MGNtSecurityDescriptor> descriptor = MGNtSecurityDescriptor::fromList(list);
    return descriptor && descriptor->isCanonical();
}

QString account(const MGAclEntry *entry)
{
    if (!entry)
        return QString();
    const CBIdentity &who = entry->identity();
    return who.posixName().isEmpty() ? who.sid() : QStringLiteral("%1 %2").arg(who.posixName(), who.sid());
}

QJsonObject accountJson(const MGAclEntry *entry)
{
    QJsonObject object;
    if (entry) {
        object.insert(QStringLiteral("sid"), entry->identity().sid());
        if (!entry->identity().posixName().isEmpty())
            object.insert(QStringLiteral("name"), entry->identity().posixName());
    }
    return object;
}
}

namespace MGAclServerListOutput {

QByteArray text(const MGAclList &list, const QUrl &url)
{
    QString out = QStringLiteral("# %1\n").arg(MGItemPaths::shownPath(url));
    out += QStringLiteral("# owner: %1\n").arg(account(ownerOf(list, MGAclEntry::Kind::Owner)));
    out += QStringLiteral("# group: %1\n").arg(account(ownerOf(list, MGAclEntry::Kind::OwningGroup)));
    out += QStringLiteral("# canonical order: %1\n").arg(canonical(list) ? QStringLiteral("yes") : QStringLiteral("no"));
    if (const QString said = remark(list); !said.isEmpty())
        out += QStringLiteral("# %1\n").arg(said);
    for (qsizetype row = 0; row < list.size(); ++row) {
        const MGAclEntry *entry = MGAclLists::entryOf(list[row]);
        if (entry && entry->isAcl())
            out += QStringLiteral("%1 %2 %3\n").arg(row).arg(MGNtEntryText::format(aceOf(*entry)), entry->identity().sid());
    }
    return out.toUtf8();
}

QByteArray json(const MGAclList &list, const QUrl &url)
{
    QJsonObject item{{QStringLiteral("url"), MGItemPaths::shownPath(url)},
                     {QStringLiteral("owner"), accountJson(ownerOf(list, MGAclEntry::Kind::Owner))},
                     {QStringLiteral("group"), accountJson(ownerOf(list, MGAclEntry::Kind::OwningGroup))},
                     {QStringLiteral("canonical"), canonical(list)}};
    if (const QString said = remark(list); !said.isEmpty())
        item.insert(QStringLiteral("remark"), said);
    QJsonArray entries;
    bool folder = false;
    for (qsizetype row = 0; row < list.size(); ++row) {
        const MGAclEntry *entry = MGAclLists::entryOf(list[row]);
        if (!entry)
            continue;
        folder = entry->isDirectory();
        if (!entry->isAcl())
            continue;
        const MGNtAce ace = aceOf(*entry);
        QJsonObject object = accountJson(entry);
        object.insert(QStringLiteral("row"), row);
        object.insert(QStringLiteral("allow"), ace.type == MGNtAce::Allowed);
        object.insert(QStringLiteral("permissions"), QStringLiteral("0x%1").arg(ace.mask, 8, 16, QLatin1Char('0')));
        object.insert(QStringLiteral("flags"), MGNtEntryText::flagsText(ace.flags & MGNtSecurityDescriptor::InheritanceFlags));
        object.insert(QStringLiteral("inherited"), entry->inherited());
        object.insert(QStringLiteral("entry"), MGNtEntryText::format(ace));
        entries.append(object);
    }
    item.insert(QStringLiteral("folder"), folder);
    item.insert(QStringLiteral("entries"), entries);
    return MGAclJson::line(item);
}
}
