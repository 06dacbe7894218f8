#include "MGNtInheritance.h"

namespace {
constexpr quint32 ObjectInherit = 0x1, ContainerInherit = 0x2, NoPropagate = 0x4, InheritOnly = 0x8;
constexpr quint32 Inherited = MGNtSecurityDescriptor::InheritedFlag;

bool isCreator(const QString &sid)
{
    return sid == MGNtInheritance::CreatorOwner || sid == MGNtInheritance::CreatorGroup;
}
}

namespace MGNtInheritance {

QList<MGNtAce> inheritedBy(const QList<MGNtAce> &parent, bool folder, const QString &ownerSid, const QString &groupSid)
{
    QList<MGNtAce> inherited;
    const auto effective = [&](MGNtAce ace) {
        ace.flags = Inherited;
        if (ace.sid == CreatorOwner || ace.sid == CreatorGroup) {
            ace.sid = ace.sid == CreatorOwner ? ownerSid : groupSid;
            ace.name.clear();
        }
        return ace;
    };
    for (const MGNtAce &ace : parent) {
        // Entries of other kinds are not passed on here: their copies stay where they are.
        if (ace.isOtherKind())
            continue;
        const bool objects = ace.flags & ObjectInherit, containers = ace.flags & ContainerInherit;
        const bool further = !(ace.flags & NoPropagate);
        if (!folder) {
            if (objects)
                inherited << effective(ace);
            continue;
        }
        if (containers) {
            if (!further) {
                inherited << effective(ace);
            } else if (isCreator(ace.sid)) {
                // The owner's own rights here, and Creator Owner for what is made below.
                inherited << effective(ace);
                MGNtAce passed = ace;
                passed.flags = (ace.flags & (ObjectInherit | ContainerInherit)) | InheritOnly | Inherited;
                inherited << passed;
            } else {
                MGNtAce both = ace;
                both.flags = (ace.flags & (ObjectInherit | ContainerInherit)) | Inherited;
                inherited << both;
            }
        } else if (objects && further) {
            // For the folder's files only.
            MGNtAce passed = ace;
            passed.flags = ObjectInherit | InheritOnly | Inherited;
            inherited << passed;
        }
    }
    return inherited;
}

MGResult<MGAclList> listInheritedFrom(const MGAclList &folder, const MGAclList &item, bool directory)
{
    const MGResult<MGNtSecurityDescriptor> parent = MGNtSecurityDescriptor::fromList(folder);
    if (!parent)
        return parent.error();
    const MGResult<MGNtSecurityDescriptor> own = MGNtSecurityDescriptor::fromList(item);
    if (!own)
        return own.error();
    MGNtSecurityDescriptor result = *own;
    result.aces = inheritedBy(parent->aces, directory, own->ownerSid, own->groupSid);
    // Creator Owner and Group made the item's own take the names its owner and group have.
    for (MGNtAce &ace : result.aces) {
        if (ace.name.isEmpty())
            ace.name = ace.sid == own->ownerSid ? own->ownerName : ace.sid == own->groupSid ? own->groupName : QString();
    }
    return result.list(directory);
}

MGNtSecurityDescriptor withInherited(const MGNtSecurityDescriptor &child, const QList<MGNtAce> &inherited)
{
    MGNtSecurityDescriptor result = child;
    result.aces.clear();
    for (const MGNtAce &ace : child.aces) {
        if (!(ace.flags & Inherited) || ace.isOtherKind())
            result.aces << ace;
    }
    result.aces << inherited;
    return result;
}
}
