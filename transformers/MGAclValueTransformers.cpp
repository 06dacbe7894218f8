#include "MGAclValueTransformers.h"

#include "MGAclAccessValueTransformer.h"
#include "MGAclInheritedValueTransformer.h"
#include "MGAclPermGroupValueTransformer.h"
#include "MGAclPermGroupsValueTransformer.h"
#include "MGAclTagValueTransformer.h"
#include "MGAclTagsValueTransformer.h"
#include "NTLocalizedString.h"

#include <mutex>

namespace {
MGAclValueTransformers::Texts sharedTexts;
std::once_flag textsOnce;

QString acl(const char *key)
{
    return NTLocalizedString::localize(QString::fromUtf8(key), QStringLiteral("ACL"));
}
}

void MGAclValueTransformers::loadTransformers()
{
    std::call_once(textsOnce, [] {
        sharedTexts.allow = acl("Allow");
        sharedTexts.deny = acl("Deny");
        sharedTexts.undefined = acl("Undefined");
        sharedTexts.fullControl = acl("Full Control");
        sharedTexts.read = acl("Read");
        sharedTexts.write = acl("Write");
        sharedTexts.readWrite = acl("Read & Write");
        sharedTexts.noAccess = acl("No Access");
        sharedTexts.custom = acl("Custom\u2026");
    });
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclTagValueTransformer>(),
                                            QStringLiteral("MGAclTagValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclTagsValueTransformer>(),
                                            QStringLiteral("MGFclTagsValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclPermGroupValueTransformer>(),
                                            QStringLiteral("MGAclPermGroupValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclPermGroupsValueTransformer>(),
                                            QStringLiteral("MGAclPermGroupsValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclInheritedValueTransformer>(),
                                            QStringLiteral("MGAclInheritedValueTransformer"));
    MGValueTransformer::setValueTransformer(std::make_shared<MGAclAccessValueTransformer>(),
                                            QStringLiteral("MGAclAccessValueTransformer"));
}

const MGAclValueTransformers::Texts &MGAclValueTransformers::texts()
{
    return sharedTexts;
}

QString MGAclValueTransformers::tagText(qint32 tag)
{
    switch (tag) {
    case 1:
        return sharedTexts.allow;
    case 2:
        return sharedTexts.deny;
    default:
        return sharedTexts.undefined;
    }
}

QString MGAclValueTransformers::permissionGroupText(qint64 group)
{
    switch (group) {
    case 1:
        return sharedTexts.fullControl;
    case 2:
        return sharedTexts.readWrite;
    case 3:
        return sharedTexts.read;
    case 4:
        return sharedTexts.write;
    case 5:
        return sharedTexts.noAccess;
    case 6:
        return sharedTexts.custom;
    default:
        return sharedTexts.undefined;
    }
}
