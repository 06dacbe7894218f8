#pragma once

#include "MGValueTransformer.h"

// A list of permission-group codes to their texts (for the group pop-up's items).
class MGAclPermGroupsValueTransformer : public MGValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    QMetaType transformedValueClass() const override { return QMetaType::fromType<QStringList>(); }
    bool allowsReverseTransformation() const override { return false; }
};
