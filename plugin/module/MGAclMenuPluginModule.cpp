#include "MGAclMenuPluginModule.h"

#include "MGAclPlugin.h"
#include "NTLocalizedString.h"

std::shared_ptr<MGMenuPlugin> MGAclMenuPluginModule::plugin()
{
    return MGAclPlugin::plugin();
}

QString MGAclMenuPluginModule::menuTitle() const
{
    return NTLocalizedString::localize(QStringLiteral("ACL\u2026"), QStringLiteral("ACL"));
}
