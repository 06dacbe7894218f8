#pragma once

#include "MGValueTransformer.h"

// A list of tag codes to their texts (for a tag pop-up's items).
class MGAclTagsValueTransformer : public MGValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    QMetaType transformedValueClass() const override { return QMetaType::fromType<QStringList>(); }
    bool allowsReverseTransformation() const override { return false; }
};
