#include "MGAclAccessValueTransformer.h"

#include "MGImage.h"

QVariant MGAclAccessValueTransformer::transformedValue(const QVariant &value) const
{
    if (!isNumber(value))
        return {};
    const qint64 access = integerValue(value);
    if (access == -1)
        return {};
    return access == 0 ? MGImage::xmarkImage() : MGImage::checkmarkImage();
}
