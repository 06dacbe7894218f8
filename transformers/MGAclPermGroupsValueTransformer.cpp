#include "MGAclPermGroupsValueTransformer.h"

#include "MGAclValueTransformers.h"

QVariant MGAclPermGroupsValueTransformer::transformedValue(const QVariant &value) const
{
    return mapNumberList(value, [](const QVariant &group) {
        return MGAclValueTransformers::text(MGAclTexts::PermissionGroups, integerValue(group));
    });
}
