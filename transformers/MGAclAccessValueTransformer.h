#pragma once

#include "MGValueTransformer.h"

#include <QIcon>

// An access value to an image: -1 none, 0 a cross, anything else a check mark.
class MGAclAccessValueTransformer : public MGValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    QMetaType transformedValueClass() const override { return QMetaType::fromType<QIcon>(); }
    bool allowsReverseTransformation() const override { return false; }
};
