#include "MGAclInheritedValueTransformer.h"

#include "NTLocalizedString.h"

QVariant MGAclInheritedValueTransformer::transformedValue(const QVariant &value) const
{
    if (!isNumber(value))
        return {};
    return NTLocalizedString::localize(boolValue(value) ? QStringLiteral("Yes") : QStringLiteral("No"));
}
