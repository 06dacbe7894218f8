#include "MGAclTagValueTransformer.h"

#include "MGAclValueTransformers.h"

QVariant MGAclTagValueTransformer::transformedValue(const QVariant &value) const
{
    if (!isNumber(value))
        return {};
    return MGAclValueTransformers::text(MGAclTexts::Tags, intValue(value));
}

QVariant MGAclTagValueTransformer::reverseTransformedValue(const QVariant &value) const
{
    if (value.metaType().id() != QMetaType::QString)
        return {};
    return int(MGAclValueTransformers::code(MGAclTexts::Tags, value.toString()).value_or(0));
}
