#pragma once

#include "MGValueTransformer.h"

// Tag code (1 allow, 2 deny, other undefined) to its text, and back.
class MGAclTagValueTransformer : public MGValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    QVariant reverseTransformedValue(const QVariant &value) const override;
    QMetaType transformedValueClass() const override { return QMetaType::fromType<QString>(); }
    bool allowsReverseTransformation() const override { return true; }
};
