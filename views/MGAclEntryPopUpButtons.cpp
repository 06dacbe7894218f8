#include "MGAclEntryPopUpButtons.h"

#include "MGValueTransformer.h"
#include "NTLocalizedString.h"

#include <QStandardItemModel>

namespace {
std::shared_ptr<MGValueTransformer> transformer(const char *name)
{
    return MGValueTransformer::valueTransformerForName(QString::fromLatin1(name));
}

QVariantList numbers(const QList<int> &codes)
{
    QVariantList list;
    for (int code : codes)
        list << code;
    return list;
}
}

MGAclTagPopUpButton::MGAclTagPopUpButton(QWidget *parent) : QComboBox(parent)
{
    // The items come from the tags transformer, as the interface binds them.
    if (const auto tags = transformer("MGFclTagsValueTransformer"))
        addItems(tags->transformedValue(numbers({1, 2})).toStringList());
    connect(this, &QComboBox::activated, this, [this](int index) {
        const auto entry = m_entry.lock();
        const auto tag = transformer("MGAclTagValueTransformer");
        if (entry && tag)
            entry->setTag(tag->reverseTransformedValue(itemText(index)).toInt());
    });
}

void MGAclTagPopUpButton::setEntry(const MGAclEntry::Pointer &entry)
{
    if (entry == m_entry.lock())
        return refresh();
    disconnect(m_watch);
    m_entry = entry;
    if (entry)
        m_watch = connect(entry.get(), &MGAclEntry::changed, this, [this] { refresh(); });
    refresh();
}

void MGAclTagPopUpButton::refresh()
{
    const auto entry = m_entry.lock();
    if (!entry)
        return;
    const QSignalBlocker blocker(this);
    if (const auto tag = transformer("MGAclTagValueTransformer"))
        setCurrentIndex(findText(tag->transformedValue(entry->tag()).toString()));
    setEnabled(!entry->inherited());
    // POSIX ACLs allow only: deny is shown, and why it cannot be chosen.
    if (auto *items = qobject_cast<QStandardItemModel *>(model()); items && items->rowCount() > 1) {
        QStandardItem *deny = items->item(1);
        deny->setEnabled(!entry->isPosix());
        deny->setToolTip(entry->isPosix() ? NTLocalizedString::localize(
                                                QStringLiteral("POSIX ACLs, which keep this item's permissions, have no deny entries."),
                                                QStringLiteral("ACL"))
                                          : QString());
    }
}

MGAclPermGroupPopUpButton::MGAclPermGroupPopUpButton(QWidget *parent) : QComboBox(parent)
{
    connect(this, &QComboBox::activated, this, [this](int index) {
        const auto entry = m_entry.lock();
        const auto group = transformer("MGAclPermGroupValueTransformer");
        if (!entry || !group)
            return;
        entry->setPermissionGroup(group->reverseTransformedValue(itemText(index)).toLongLong());
        emit groupChosen(this);
    });
}

void MGAclPermGroupPopUpButton::setEntry(const MGAclEntry::Pointer &entry)
{
    if (entry == m_entry.lock())
        return refresh();
    disconnect(m_watch);
    m_entry = entry;
    if (entry)
        m_watch = connect(entry.get(), &MGAclEntry::changed, this, [this] { refresh(); });
    refresh();
}

QString MGAclPermGroupPopUpButton::permissionNames(const MGAclEntry &entry)
{
    QStringList held;
    for (const MGAclPermissionSet::Item &item : entry.editablePermissions()) {
        if (entry.permissionState(item.mask) == 1)
            held << NTLocalizedString::localize(item.key, QStringLiteral("ACL"));
    }
    return held.isEmpty() ? NTLocalizedString::localize(QStringLiteral("No Access"), QStringLiteral("ACL"))
                          : held.join(QStringLiteral(", "));
}

void MGAclPermGroupPopUpButton::refresh()
{
    const auto entry = m_entry.lock();
    const auto groups = transformer("MGAclPermGroupsValueTransformer");
    const auto group = transformer("MGAclPermGroupValueTransformer");
    if (!entry || !groups || !group)
        return;
    const QSignalBlocker blocker(this);
    // The groups the entry may take (a POSIX ACL holds no Full Control), then Custom.
    const QStringList items = groups->transformedValue(numbers(entry->availablePermissionGroups() << 6)).toStringList();
    if (items != [this] {
            QStringList shown;
            for (int i = 0; i < count(); ++i)
                shown << itemText(i);
            return shown;
        }()) {
        clear();
        addItems(items);
    }
    setCurrentIndex(findText(group->transformedValue(entry->permissionGroup()).toString()));
    setEnabled(!entry->inherited());
    setToolTip(permissionNames(*entry));
}
