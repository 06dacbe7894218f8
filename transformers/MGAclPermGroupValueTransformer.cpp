#include "MGAclPermGroupValueTransformer.h"

#include "MGAclValueTransformers.h"

QVariant MGAclPermGroupValueTransformer::transformedValue(const QVariant &value) const
{
    if (!isNumber(value))
        return {};
    return MGAclValueTransformers::permissionGroupText(integerValue(value));
}

QVariant MGAclPermGroupValueTransformer::reverseTransformedValue(const QVariant &value) const
{
    if (value.metaType().id() != QMetaType::QString)
        return {};
    const QString text = value.toString();
    const auto &t = MGAclValueTransformers::texts();
    const QString inOrder[] = {t.fullControl, t.readWrite, t.read, t.write, t.noAccess, t.custom};
    for (int code = 1; code <= 6; ++code) {
        if (text == inOrder[code - 1])
            return code;
    }
    return 0;
}
