#pragma once

#include <QString>
#include <QtGlobal>
#include <span>

// The words the editor shows for codes: one table per kind of code, each row a code and
// the key of its text in the translation table "ACL". Each table is read in both
// directions (code to text for display, text back to code for choosers).
namespace MGAclTexts {
struct Row
{
    qint64 code;
    const char *key;
};

// Every code a table does not hold.
inline constexpr const char *UndefinedKey = "Undefined";

// Entry tags.
inline constexpr Row Tags[] = {{1, "Allow"}, {2, "Deny"}};
// Permission groups, in the order of their codes.
inline constexpr Row PermissionGroups[] = {{1, "Full Control"}, {2, "Read & Write"}, {3, "Read"},
                                           {4, "Write"},        {5, "No Access"},    {6, "Custom\u2026"}};

// The key of `code` in `table`; UndefinedKey when the table has no such code.
inline const char *key(std::span<const Row> table, qint64 code)
{
    for (const Row &row : table) {
        if (row.code == code)
            return row.key;
    }
    return UndefinedKey;
}

// The word a script reads for an English text key, the same in every language: lower case,
// words joined by "-" ("Read & Write" is "read-write", "Custom…" is "custom").
inline QString scriptWord(const QString &key)
{
    QString word;
    for (const QChar c : key) {
        if (c.isLetterOrNumber() && c.unicode() < 128)
            word += c.toLower();
        else if (!word.isEmpty() && !word.endsWith(QLatin1Char('-')))
            word += QLatin1Char('-');
    }
    while (word.endsWith(QLatin1Char('-')))
        word.chop(1);
    return word;
}
}
