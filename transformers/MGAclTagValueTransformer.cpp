#include "MGAclTagValueTransformer.h"

#include "MGAclValueTransformers.h"

QVariant MGAclTagValueTransformer::transformedValue(const QVariant &value) const
{
    if (!isNumber(value))
        return {};
    return MGAclValueTransformers::tagText(intValue(value));
}

QVariant MGAclTagValueTransformer::reverseTransformedValue(const QVariant &value) const
{
    if (value.metaType().id() != QMetaType::QString)
        return {};
    const QString text = value.toString();
    const auto &texts = MGAclValueTransformers::texts();
    if (text == texts.allow)
        return 1;
    if (text == texts.deny)
        return 2;
    return 0;
}
