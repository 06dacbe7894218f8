#pragma once

#include "MGMenuPlugin.h"

#include <QObject>

// The plug-in module a host loads: its factory makes one plug-in object per use of the
// "ACL…" command.
class MGAclMenuPluginModule : public QObject, public MGMenuPluginFactory
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID MGMenuPluginFactory_iid FILE "marrowgate-aclplugin.json")
    Q_INTERFACES(MGMenuPluginFactory)
public:
    std::shared_ptr<MGMenuPlugin> plugin() override;
    QString menuTitle() const override;
};
