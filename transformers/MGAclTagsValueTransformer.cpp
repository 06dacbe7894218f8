#include "MGAclTagsValueTransformer.h"

#include "MGAclValueTransformers.h"

QVariant MGAclTagsValueTransformer::transformedValue(const QVariant &value) const
{
    return mapNumberList(value, [](const QVariant &tag) { return MGAclValueTransformers::text(MGAclTexts::Tags, intValue(tag)); });
}
