#pragma once

#include "MGValueTransformer.h"

// The inherited mark to "Yes" or "No", translated afresh on every call.
class MGAclInheritedValueTransformer : public MGValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    QMetaType transformedValueClass() const override { return QMetaType::fromType<QString>(); }
    bool allowsReverseTransformation() const override { return false; }
};
