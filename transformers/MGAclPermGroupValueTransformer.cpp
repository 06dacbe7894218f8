#include "MGAclPermGroupValueTransformer.h"

#include "MGAclValueTransformers.h"

QVariant MGAclPermGroupValueTransformer::transformedValue(const QVariant &value) const
{
    if (!isNumber(value))
        return {};
    return MGAclValueTransformers::text(MGAclTexts::PermissionGroups, integerValue(value));
}

QVariant MGAclPermGroupValueTransformer::reverseTransformedValue(const QVariant &value) const
{
    if (value.metaType().id() != QMetaType::QString)
        return {};
    return int(MGAclValueTransformers::code(MGAclTexts::PermissionGroups, value.toString()).value_or(0));
}
