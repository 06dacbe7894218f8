#pragma once

#include "MGValueTransformer.h"

// Permission-group code to its text, and back.
class MGAclPermGroupValueTransformer : public MGValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    QVariant reverseTransformedValue(const QVariant &value) const override;
    QMetaType transformedValueClass() const override { return QMetaType::fromType<QString>(); }
    bool allowsReverseTransformation() const override { return true; }
};
