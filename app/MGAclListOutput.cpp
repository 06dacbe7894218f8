#include "MGAclListOutput.h"

#include "MGAclJson.h"
#include "MGAclPermissionSet.h"
#include "MGAclTextFormat.h"
#include "MGAclTexts.h"
#include "MGPosixRules.h"

#include <QJsonArray>
#include <array>

namespace {
QString rwx(int bits)
{
    return QString(bits & 4 ? QLatin1Char('r') : QLatin1Char('-')) + (bits & 2 ? QLatin1Char('w') : QLatin1Char('-'))
        + (bits & 1 ? QLatin1Char('x') : QLatin1Char('-'));
}

// One entry in the words scripts read.
struct Row
{
    qsizetype row = 0;
    bool posix = false;
    QString kind; // user, group, owner, owning-group, other, mask
    QString name; // the account's name, or its id where it has none; empty for the rest
    bool hasAccount = false;
    std::optional<quint32> id;
    QString applies;
    bool allow = true;
    QString permissions, effective;
    QString effectiveForNewItems; // for an entry that applies to a folder and its new items
    bool maskLimits = false;
    bool inherited = false;
    QString group;
};

QString kindOf(const MGAclEntry &entry)
{
    if (entry.isMask())
        return QStringLiteral("mask");
    switch (entry.kind()) {
    case MGAclEntry::Kind::Owner: return QStringLiteral("owner");
    case MGAclEntry::Kind::OwningGroup: return QStringLiteral("owning-group");
    case MGAclEntry::Kind::Other: return QStringLiteral("other");
    case MGAclEntry::Kind::Mask: return QStringLiteral("mask");
    case MGAclEntry::Kind::Acl: break;
    }
    switch (entry.identity().identityClass()) {
    case CBIdentity::Class::User: return QStringLiteral("user");
    case CBIdentity::Class::Group: return QStringLiteral("group");
    case CBIdentity::Class::OwnerSpecial: return QStringLiteral("owner");
    case CBIdentity::Class::GroupSpecial: return QStringLiteral("owning-group");
    case CBIdentity::Class::EveryoneSpecial: return QStringLiteral("other");
    case CBIdentity::Class::MaskSpecial: return QStringLiteral("mask");
    case CBIdentity::Class::None: break;
    }
    return QStringLiteral("unknown");
}

QString appliesOf(const MGAclEntry &entry)
{
    if (!entry.isDirectory())
        return QStringLiteral("file");
    switch (entry.appliesTo()) {
    case MGAclEntry::AppliesTo::ThisItem: return QStringLiteral("folder");
    case MGAclEntry::AppliesTo::NewItems: return QStringLiteral("new-items");
    case MGAclEntry::AppliesTo::Both: break;
    }
    return QStringLiteral("folder+new-items");
}

// The bits of the item's mask and of the one a folder passes on, where there are.
using Masks = std::array<std::optional<int>, 2>;

Row rowOf(const Masks &masks, qsizetype index, const MGAclEntry &entry, bool posix)
{
    Row row;
    row.row = index;
    row.posix = posix;
    row.kind = kindOf(entry);
    row.applies = appliesOf(entry);
    row.allow = entry.tag() != MGAclEntry::Deny;
    row.inherited = entry.inherited();
    row.group = MGAclTexts::scriptWord(QString::fromLatin1(MGAclTexts::key(MGAclTexts::PermissionGroups, entry.permissionGroup())));
    const CBIdentity &identity = entry.identity();
    if (identity.isUserOrGroup()) {
        row.id = identity.posixID();
        row.hasAccount = !identity.posixName().isEmpty();
        row.name = row.hasAccount ? identity.posixName() : QString::number(identity.posixID());
    }
    const std::optional<int> bits = MGAclPermissionSet::toPosixBits(entry.permissions(), entry.isDirectory());
    row.permissions = bits ? rwx(*bits) : MGAclPermissionSet::shortText(entry.permissions(), entry.isDirectory());
    // Where the entry applies, what the mask there leaves of it.
    QStringList effective;
    for (const bool forNewItems : {false, true}) {
        if (forNewItems ? !(entry.isAcl() && entry.passesOn()) : !entry.appliesHere())
            continue;
        const std::optional<int> mask = MGPosixRules::answersToMask(entry, forNewItems) ? masks[forNewItems] : std::nullopt;
        const int left = bits && mask ? *bits & *mask : bits.value_or(0);
        effective << (bits ? rwx(left) : row.permissions);
        row.maskLimits = row.maskLimits || (bits && left != *bits);
    }
    row.effective = effective.value(0, row.permissions);
    row.effectiveForNewItems = effective.size() == 2 ? effective[1] : QString();
    return row;
}

QList<Row> rowsOf(const MGAclList &list)
{
    // The list's second section holds the item's own permission bits.
    Masks masks;
    for (const bool forNewItems : {false, true}) {
        if (const MGAclEntry *mask = MGPosixRules::maskEntry(list, forNewItems))
            masks[forNewItems] = MGAclPermissionSet::toPosixBits(mask->permissions(), mask->isDirectory());
    }
    QList<Row> rows;
    int sections = 0;
    for (qsizetype index = 0; index < list.size(); ++index) {
        if (const MGAclEntry *entry = MGAclLists::entryOf(list[index]))
            rows << rowOf(masks, index, *entry, sections >= 2);
        else
            ++sections;
    }
    return rows;
}

// The owner's or owning group's row of the item's own permissions.
const Row *posixRow(const QList<Row> &rows, const QString &kind)
{
    for (const Row &row : rows) {
        if (row.posix && row.kind == kind)
            return &row;
    }
    return nullptr;
}

QString escaped(const QString &name)
{
    return QString::fromUtf8(MGAclTextFormat::escapeName(name.toUtf8()));
}
}

namespace MGAclListOutput {

QString text(const MGAclList &list)
{
    const QList<Row> rows = rowsOf(list);
    QString out;
    if (const Row *owner = posixRow(rows, QStringLiteral("owner")))
        out += QStringLiteral("# owner: %1\n").arg(escaped(owner->name));
    if (const Row *group = posixRow(rows, QStringLiteral("owning-group")))
        out += QStringLiteral("# group: %1\n").arg(escaped(group->name));
    qsizetype next = 0;
    for (qsizetype index = 0; index < list.size(); ++index) {
        if (!MGAclLists::entryOf(list[index])) {
            out += QStringLiteral("## %1\n").arg(std::get<QString>(list[index]));
            continue;
        }
        const Row &row = rows[next++];
        const bool named = row.kind == QLatin1String("user") || row.kind == QLatin1String("group");
        out += QStringLiteral("%1\t%2\t%3\t%4\t%5\t%6\t%7\t%8\t%9\n")
                   .arg(row.row)
                   .arg(named ? row.kind + QLatin1Char(':') + escaped(row.name) : row.kind,
                        row.id && (named || row.posix) ? QString::number(*row.id) : QStringLiteral("-"), row.applies,
                        row.allow ? QStringLiteral("allow") : QStringLiteral("deny"), row.permissions,
                        row.effectiveForNewItems.isEmpty() || row.effectiveForNewItems == row.effective
                            ? row.effective
                            : row.effective + QLatin1Char('/') + row.effectiveForNewItems,
                        row.inherited ? QStringLiteral("yes") : QStringLiteral("no"), row.group);
    }
    return out;
}

QByteArray json(const MGAclList &list, const QByteArray &path)
{
    const QList<Row> rows = rowsOf(list);
    QJsonObject item;
    MGAclJson::putBytes(item, QStringLiteral("path"), path);
    item.insert(QStringLiteral("folder"), !rows.isEmpty() && rows.first().applies != QLatin1String("file"));
    QJsonArray entries;
    for (const Row &row : rows) {
        QJsonObject entry{{QStringLiteral("row"), row.row},
                          {QStringLiteral("section"), row.posix ? QStringLiteral("posix") : QStringLiteral("acl")},
                          {QStringLiteral("kind"), row.kind},
                          {QStringLiteral("appliesTo"), row.applies},
                          {QStringLiteral("allow"), row.allow},
                          {QStringLiteral("permissions"), row.permissions},
                          {QStringLiteral("effective"), row.effective},
                          {QStringLiteral("maskLimits"), row.maskLimits},
                          {QStringLiteral("inherited"), row.inherited},
                          {QStringLiteral("permissionGroup"), row.group}};
        if (!row.effectiveForNewItems.isEmpty())
            entry.insert(QStringLiteral("effectiveForNewItems"), row.effectiveForNewItems);
        // An id without an account has no name: "1234" could be an account's.
        if (row.id) {
            if (row.hasAccount)
                entry.insert(QStringLiteral("name"), row.name);
            entry.insert(QStringLiteral("id"), qint64(*row.id));
        }
        entries.append(entry);
        if (row.posix && row.id && (row.kind == QLatin1String("owner") || row.kind == QLatin1String("owning-group")))
            item.insert(row.kind == QLatin1String("owner") ? QStringLiteral("owner") : QStringLiteral("group"),
                        QJsonObject{{QStringLiteral("name"), row.name}, {QStringLiteral("id"), qint64(*row.id)}});
    }
    item.insert(QStringLiteral("entries"), entries);
    return MGAclJson::line(item);
}
}
