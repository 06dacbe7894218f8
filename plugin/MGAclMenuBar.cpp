#include "MGAclMenuBar.h"

#include "MGTabViewController.h"
#include "MGWindow.h"
#include "NTLocalizedString.h"

#include <QAction>
#include <QApplication>
#include <QKeySequence>
#include <QLayout>
#include <QMenuBar>

namespace {
const QString ACL = QStringLiteral("ACL");

// The host's own words come from its default table; the window's commands from "ACL".
QString localized(const char *key)
{
    return NTLocalizedString::localize(QString::fromUtf8(key));
}

QString localized(const char *key, const QString &table)
{
    return NTLocalizedString::localize(QString::fromUtf8(key), table);
}
}

QAction *MGAclMenuBar::addCommand(MGWindow *window, QMenu *menu, const char *key, const char *action)
{
    // A command the window already takes a key for is that same action, so its key is not
    // claimed twice.
    const QString name = QString::fromLatin1(action);
    for (QAction *own : window->actions()) {
        if (own->objectName() == name) {
            if (own->text().isEmpty())
                own->setText(localized(key));
            menu->addAction(own);
            return own;
        }
    }
    QAction *item = menu->addAction(localized(key, ACL));
    item->setObjectName(name);
    QObject::connect(item, &QAction::triggered, window, [window, item] {
        if (window->validateAction(item))
            window->sendAction(item);
    });
    return item;
}

void MGAclMenuBar::validateOnShow(MGWindow *window, QMenu *menu)
{
    QObject::connect(menu, &QMenu::aboutToShow, window, [window, menu] {
        for (QAction *item : menu->actions()) {
            if (!item->isSeparator() && item->objectName().endsWith(QLatin1Char(':')))
                item->setEnabled(window->validateAction(item));
        }
    });
    // A shortcut checks its command itself when pressed; a disabled item would not.
    QObject::connect(menu, &QMenu::aboutToHide, window, [menu] {
        for (QAction *item : menu->actions())
            item->setEnabled(true);
    });
}

QMenuBar *MGAclMenuBar::attachTo(MGWindow *window)
{
    if (auto *existing = window->findChild<QMenuBar *>(QString(), Qt::FindDirectChildrenOnly))
        return existing;
    auto *bar = new QMenuBar(window);
    window->layout()->setMenuBar(bar);
    bar->setVisible(true); // the window may be on screen already

    QMenu *file = bar->addMenu(localized("&File"));
    file->setObjectName(QStringLiteral("fileMenu"));
    addCommand(window, file, "Save", "saveEntries:")->setShortcut(QKeySequence::Save);
    addCommand(window, file, "Revert", "revertEntries:")->setShortcut(QKeySequence::Refresh);
    file->addSeparator();
    QAction *close = file->addAction(localized("Close"));
    // Ctrl+W first, whatever the desktop's own list puts first.
    QList<QKeySequence> closeKeys{QKeySequence(Qt::CTRL | Qt::Key_W)};
    for (const QKeySequence &key : QKeySequence::keyBindings(QKeySequence::Close)) {
        if (!closeKeys.contains(key))
            closeKeys << key;
    }
    close->setShortcuts(closeKeys);
    QObject::connect(close, &QAction::triggered, window, &QWidget::close);
    validateOnShow(window, file);

    QMenu *edit = bar->addMenu(localized("&Edit"));
    edit->setObjectName(QStringLiteral("editMenu"));
    addCommand(window, edit, "Add Entry", "addEntry:")->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_N));
    addCommand(window, edit, "Remove Entry", "removeEntry:")->setShortcut(QKeySequence::Delete);
    addCommand(window, edit, "Show Permissions\u2026", "showPermissions:")->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_I));
    edit->addSeparator();
    addCommand(window, edit, "Sort Access Control List Canonically", "sortEntriesCanonically:");
    addCommand(window, edit, "Remove Inherited Entries", "removeInheritedEntries:");
    addCommand(window, edit, "Make Inherited Entries Explicit", "makeInheritedEntriesExplicit:");
    addCommand(window, edit, "Inherit Entries from Parent Folder", "inheritEntriesFromParent:");
    addCommand(window, edit, "Propagate Permissions\u2026", "propagateEntries:");
    edit->addSeparator();
    addCommand(window, edit, "Keep the mask as it is", "keepMask:")->setCheckable(true);
    validateOnShow(window, edit);

    // One item per tab, titled as the tab is.
    if (auto *tabs = qobject_cast<MGTabViewController *>(window->contentViewController())) {
        QMenu *view = bar->addMenu(localized("&View"));
        view->setObjectName(QStringLiteral("viewMenu"));
        const QList<MGViewController *> children = tabs->childViewControllers();
        for (int i = 0; i < children.size(); ++i) {
            QAction *item = view->addAction(children[i]->title());
            item->setShortcut(QKeySequence(Qt::CTRL | (Qt::Key_1 + i)));
            QObject::connect(item, &QAction::triggered, tabs, [tabs, i] { tabs->setSelectedTabViewItemIndex(i); });
        }
    }
    return bar;
}

void MGAclMenuBar::attachToWindows()
{
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (auto *window = qobject_cast<MGWindow *>(top))
            attachTo(window);
    }
}
