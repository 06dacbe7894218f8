#include "MGAclValueTransformers.h"

#include "MGAclAccessValueTransformer.h"
#include "MGAclInheritedValueTransformer.h"
#include "MGAclPermGroupValueTransformer.h"
#include "MGAclPermGroupsValueTransformer.h"
#include "MGAclTagValueTransformer.h"
#include "MGAclTagsValueTransformer.h"
#include "NTLocalizedString.h"

#include <QHash>
#include <mutex>

namespace {
// Translated once per process, keyed by the text's key; only read afterwards.
QHash<QByteArray, QString> sharedTexts;
std::once_flag textsOnce;

void translate(const char *key)
{
    sharedTexts.insert(QByteArray(key), NTLocalizedString::localize(QString::fromUtf8(key), QStringLiteral("ACL")));
}
}

void MGAclValueTransformers::loadTransformers()
{
    std::call_once(textsOnce, [] {
        for (const MGAclTexts::Row &row : MGAclTexts::Tags)
            translate(row.key);
        translate(MGAclTexts::UndefinedKey);
        for (const MGAclTexts::Row &row : MGAclTexts::PermissionGroups)
            translate(row.key);
    });
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclTagValueTransformer>(),
                                            QStringLiteral("MGAclTagValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclTagsValueTransformer>(),
                                            QStringLiteral("MGFclTagsValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclPermGroupValueTransformer>(),
                                            QStringLiteral("MGAclPermGroupValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclPermGroupsValueTransformer>(),
                                            QStringLiteral("MGAclPermGroupsValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclInheritedValueTransformer>(),
                                            QStringLiteral("MGAclInheritedValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclAccessValueTransformer>(),
                                            QStringLiteral("MGAclAccessValueTransformer"));
}

QString MGAclValueTransformers::text(std::span<const MGAclTexts::Row> table, qint64 code)
{
    return sharedTexts.value(QByteArray(MGAclTexts::key(table, code)));
}

std::optional<qint64> MGAclValueTransformers::code(std::span<const MGAclTexts::Row> table, const QString &text)
{
    for (const MGAclTexts::Row &row : table) {
        if (text == sharedTexts.value(QByteArray(row.key)))
            return row.code;
    }
    return std::nullopt;
}
