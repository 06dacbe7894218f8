#include "MGNtEntryText.h"

#include <array>

namespace {
struct Name
{
    const char *text;
    quint32 bits;
};
constexpr std::array<Name, 5> FlagNames{{{"OI", 0x1}, {"CI", 0x2}, {"NP", 0x4}, {"IO", 0x8}, {"I", 0x10}}};
constexpr std::array<Name, 3> MaskNames{{{"READ", 0x001200a9}, {"CHANGE", 0x001301bf}, {"FULL", 0x001f01ff}}};
constexpr std::array<Name, 6> MaskLetters{
    {{"R", 0x00120089}, {"W", 0x00120116}, {"X", 0x001200a0}, {"D", 0x00010000}, {"P", 0x00040000}, {"O", 0x00080000}}};

std::optional<quint32> number(const QString &text)
{
    bool ok = false;
    const quint32 value = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? text.mid(2).toUInt(&ok, 16)
                                                                                     : text.toUInt(&ok, 10);
    return ok ? std::optional<quint32>(value) : std::nullopt;
}

std::optional<quint32> flagsOf(const QString &text)
{
    if (const auto value = number(text))
        return value;
    quint32 flags = 0;
    for (const QString &part : text.split(QLatin1Char('|'))) {
        const auto found = std::find_if(FlagNames.begin(), FlagNames.end(),
                                        [&](const Name &name) { return part.compare(QLatin1String(name.text), Qt::CaseInsensitive) == 0; });
        if (found == FlagNames.end())
            return std::nullopt;
        flags |= found->bits;
    }
    return flags;
}

std::optional<quint32> maskOf(const QString &text)
{
    if (const auto value = number(text))
        return value;
    for (const Name &name : MaskNames) {
        if (text.compare(QLatin1String(name.text), Qt::CaseInsensitive) == 0)
            return name.bits;
    }
    quint32 mask = 0;
    for (const QChar letter : text) {
        const auto found = std::find_if(MaskLetters.begin(), MaskLetters.end(),
                                        [&](const Name &name) { return letter.toUpper() == QLatin1Char(name.text[0]); });
        if (found == MaskLetters.end())
            return std::nullopt;
        mask |= found->bits;
    }
    return text.isEmpty() ? std::nullopt : std::optional<quint32>(mask);
}

int canonicalRank(const MGAclEntry &entry)
{
    return entry.inherited() ? 2 : entry.tag() == MGAclEntry::Deny ? 0 : 1;
}
}

namespace MGNtEntryText {

std::optional<Entry> parse(const QString &given, QString *why)
{
    QString text = given.trimmed();
    if (text.startsWith(QLatin1String("ACL:"), Qt::CaseInsensitive))
        text = text.mid(4);
    const qsizetype colon = text.lastIndexOf(QLatin1Char(':'));
    const QStringList fields = colon < 0 ? QStringList() : text.mid(colon + 1).split(QLatin1Char('/'));
    if (colon < 0 || fields.size() != 3) {
        // An account alone.
        if (text.isEmpty() || text.contains(QLatin1Char('/'))) {
            *why = QStringLiteral("\u201c%1\u201d is not an entry (ACL:NAME:ALLOWED/OI|CI/READ) or an account.").arg(given);
            return std::nullopt;
        }
        return Entry{text, std::nullopt};
    }
    const QString who = text.left(colon);
    MGNtAce ace;
    if (fields[0].compare(QLatin1String("ALLOWED"), Qt::CaseInsensitive) == 0 || fields[0] == QLatin1String("0"))
        ace.type = MGNtAce::Allowed;
    else if (fields[0].compare(QLatin1String("DENIED"), Qt::CaseInsensitive) == 0 || fields[0] == QLatin1String("1"))
        ace.type = MGNtAce::Denied;
    else {
        *why = QStringLiteral("\u201c%1\u201d: the type is \u201c%2\u201d, not ALLOWED or DENIED.").arg(given, fields[0]);
        return std::nullopt;
    }
    const auto flags = flagsOf(fields[1]);
    if (!flags || (*flags & ~(MGNtSecurityDescriptor::InheritanceFlags | MGNtSecurityDescriptor::InheritedFlag))) {
        *why = QStringLiteral("\u201c%1\u201d: the flags \u201c%2\u201d are not OI, CI, NP, IO and I joined by |.").arg(given, fields[1]);
        return std::nullopt;
    }
    const auto mask = maskOf(fields[2]);
    if (!mask) {
        *why = QStringLiteral("\u201c%1\u201d: the permissions \u201c%2\u201d are not READ, CHANGE, FULL, letters of RWXDPO "
                              "or a number.")
                   .arg(given, fields[2]);
        return std::nullopt;
    }
    if (who.isEmpty()) {
        *why = QStringLiteral("\u201c%1\u201d names no account.").arg(given);
        return std::nullopt;
    }
    ace.flags = *flags;
    ace.mask = *mask;
    return Entry{who, ace};
}

QString flagsText(quint32 flags)
{
    QStringList parts;
    for (const Name &name : FlagNames) {
        if (flags & name.bits)
            parts << QLatin1String(name.text);
    }
    return parts.isEmpty() ? QStringLiteral("0x0") : parts.join(QLatin1Char('|'));
}

QString maskText(quint32 mask)
{
    for (const Name &name : MaskNames) {
        if (mask == name.bits)
            return QLatin1String(name.text);
    }
    return QStringLiteral("0x%1").arg(mask, 8, 16, QLatin1Char('0'));
}

QString format(const MGNtAce &ace)
{
    return QStringLiteral("ACL:%1:%2/%3/%4")
        .arg(ace.name.isEmpty() ? ace.sid : ace.name,
             ace.type == MGNtAce::Denied ? QStringLiteral("DENIED") : QStringLiteral("ALLOWED"), flagsText(ace.flags),
             maskText(ace.mask));
}

bool names(const MGAclEntry &entry, const QString &who)
{
    const CBIdentity &identity = entry.identity();
    if (!identity.isPrincipal())
        return false;
    const QString name = identity.posixName();
    return identity.sid().compare(who, Qt::CaseInsensitive) == 0 || name.compare(who, Qt::CaseInsensitive) == 0
        || name.section(QLatin1Char('\\'), -1).compare(who, Qt::CaseInsensitive) == 0;
}

void set(MGAclList &list, const MGNtAce &ace, const QString &who)
{
    bool directory = false;
    qsizetype place = -1;
    const int rank = ace.flags & MGNtSecurityDescriptor::InheritedFlag ? 2 : ace.type == MGNtAce::Denied ? 0 : 1;
    const quint32 inheritance = ace.flags & MGNtSecurityDescriptor::InheritanceFlags;
    for (qsizetype i = 0; i < list.size(); ++i) {
        const MGAclEntry *entry = MGAclLists::entryOf(list[i]);
        if (!entry)
            continue;
        directory = entry->isDirectory();
        if (!entry->isAcl())
            continue;
        const bool same = !entry->inherited() && names(*entry, who)
            && (entry->tag() == MGAclEntry::Deny) == (ace.type == MGNtAce::Denied)
            && (entry->flags() & MGAclFlag::Inheritance) == inheritance;
        if (same) {
            list.removeAt(i--);
            continue;
        }
        if (canonicalRank(*entry) <= rank)
            place = i;
    }
    const quint32 flags = inheritance | (ace.flags & MGNtSecurityDescriptor::InheritedFlag ? quint32(MGAclFlag::Inherited) : 0u);
    const bool bySid = who.startsWith(QLatin1String("S-"), Qt::CaseInsensitive);
    const auto entry = MGAclEntry::aclEntry(ace.type == MGNtAce::Denied ? MGAclEntry::Deny : MGAclEntry::Allow,
                                            CBIdentity::principal(bySid ? who : QString(), bySid ? QString() : who),
                                            ace.mask, flags, directory, false);
    // After the ACL's title when no entry comes before it.
    list.insert(place >= 0 ? place + 1 : 1, entry);
}

int remove(MGAclList &list, const Entry &given)
{
    int removed = 0;
    for (qsizetype i = 0; i < list.size(); ++i) {
        const MGAclEntry *entry = MGAclLists::entryOf(list[i]);
        if (!entry || !entry->isAcl() || entry->inherited() || !names(*entry, given.who))
            continue;
        if (given.ace) {
            const quint32 flags = (entry->flags() & MGAclFlag::Inheritance);
            if ((entry->tag() == MGAclEntry::Deny) != (given.ace->type == MGNtAce::Denied)
                || flags != (given.ace->flags & MGNtSecurityDescriptor::InheritanceFlags) || entry->permissions() != given.ace->mask)
                continue;
        }
        list.removeAt(i--);
        ++removed;
    }
    return removed;
}
}
