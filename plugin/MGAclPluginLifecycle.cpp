#include "MGAclPlugin.h"

#include "CBIdentityAuthority.h"
#include "MGAclAccessViewController.h"
#include "MGAclItemWatch.h"
#include "MGAclEntriesViewController.h"
#include "MGAclServerLogin.h"
#include "MGAclValueTransformers.h"
#include "MGAlert.h"
#include "MGIdentities.h"
#include "MGItemPaths.h"
#include "MGTabViewController.h"
#include "MGUrlResources.h"
#include "MGWindowController.h"
#include "NTLocalizedString.h"

#include <QAction>
#include <QLabel>
#include <QKeySequence>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>
#include <QSettings>
#include <QThread>
#include <QTimer>

MGAclPlugin::MGAclPlugin() : MGAclServiceClient(QString::fromLatin1(QueueLabel))
{
}

MGAclPlugin::Pointer MGAclPlugin::plugin()
{
    return adopt(new MGAclPlugin);
}

void MGAclPlugin::initialize()
{
    MGIdentities::sharedIdentities();
    MGAclValueTransformers::loadTransformers();
    MGAclServerLogin::install();

    // The edit session holds the list; what it says of the list is what the document says.
    m_session = new MGAclEditSession(this);
    connect(m_session, &MGAclEditSession::listChanged, this, &MGAclDocument::entriesChanged);
    connect(m_session, &MGAclEditSession::noticeChanged, this, &MGAclDocument::noticeChanged);
    connect(m_session, &MGAclEditSession::editedChanged, this, &MGAclPlugin::showEdited);
    // The access the edited list would give follows each edit, half a second after it.
    const auto followEdits = [this] {
        if (m_accessAsEdited && m_timer)
            QMetaObject::invokeMethod(m_timer, [timer = m_timer] { timer->start(500); }, Qt::AutoConnection);
    };
    connect(m_session, &QAbstractItemModel::dataChanged, this, followEdits);
    connect(m_session, &MGAclEditSession::listChanged, this, followEdits);

    // The refresh timer lives on the work queue and fires there; it is armed only by
    // file-system events, never on its own.
    const std::weak_ptr<MGAclPlugin> weak = shared_from_this();
    QMetaObject::invokeMethod(
        queue()->context(),
        [this, weak] {
            m_timer = new QTimer(queue()->context());
            m_timer->setSingleShot(true);
            m_timer->setInterval(500);
            connect(m_timer, &QTimer::timeout, m_timer, [weak] {
                if (const Pointer self = weak.lock())
                    self->updateAccess();
            });
        },
        Qt::BlockingQueuedConnection);

    m_identity = CBIdentityAuthority::defaultIdentityAuthority().currentUser();
    m_canUpdateAccess = true;

    m_tabViewController = new MGTabViewController;
    m_tabViewController->addChildViewController(new MGAclEntriesViewController(this));
    m_tabViewController->addChildViewController(new MGAclAccessViewController(this));

    MGWindow *window = MGWindow::windowWithContentViewController(m_tabViewController);
    m_tabViewController->setParent(window);
    m_windowController = std::make_unique<MGWindowController>(window);
    window->setDelegate(this);
    window->setWindowTitle(QStringLiteral("[*]"));
    window->setContentMinSize(QSize(10, 180));

    const QString key = MGWindowController::settingsKey(QString::fromLatin1(AutosaveName));
    const auto saved = MGWindowController::rectFromString(QSettings().value(key).toString());
    if (saved) {
        window->move(saved->topLeft()); // the saved size is not applied here
    } else {
        window->setGeometry(0, 0, 586, 412);
        if (const QScreen *screen = QGuiApplication::primaryScreen())
            window->move(screen->availableGeometry().center() - window->rect().center());
    }
    m_windowController->setWindowFrameAutosaveName(QString::fromLatin1(AutosaveName));
    MGWindow::cascade(window);

    // Save and Revert belong to a host's menu bar; without one, the window takes the usual
    // keys for them, validated like menu items.
    for (const auto &[action, key] : {std::pair{"saveEntries:", QKeySequence::Save}, std::pair{"revertEntries:", QKeySequence::Refresh}}) {
        auto *item = new QAction(window);
        item->setObjectName(QString::fromLatin1(action));
        item->setShortcut(key);
        item->setShortcutContext(Qt::WindowShortcut);
        window->addAction(item);
        connect(item, &QAction::triggered, this, [this, item] {
            if (validateMenuItem(item))
                this->window()->tryToPerform(item->objectName(), QVariant::fromValue<QObject *>(item));
        });
    }

    connect(m_tabViewController, &MGTabViewController::selectedTabViewItemIndexChanged, this,
            [this] { observeValueForKeyPath(QStringLiteral("selectedTabViewItemIndex"), m_tabViewController); });
    connect(MGIdentities::sharedIdentities(), &MGIdentities::identitiesUpdated, this, &MGAclPlugin::identitiesUpdated);
    m_holder = {shared_from_this()};
}

MGAclPlugin::~MGAclPlugin()
{
    disconnect(MGIdentities::sharedIdentities(), nullptr, this, nullptr);
    if (m_tabViewController)
        disconnect(m_tabViewController, nullptr, this, nullptr);
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    if (QTimer *timer = m_timer)
        QMetaObject::invokeMethod(timer, &QTimer::stop, Qt::QueuedConnection);
    // The watch lives on the work queue and goes there.
    if (MGAclItemWatch *watch = m_watch)
        QMetaObject::invokeMethod(watch, &QObject::deleteLater, Qt::QueuedConnection);
}

void MGAclPlugin::processItems(const QList<MGHostItem> &items)
{
    if (items.size() == 1 && items.first().isValid()) {
        setUrl(items.first().URL());
        if (!items.first().linkURL().isEmpty())
            showLinkNote(items.first());
        m_windowController->showWindow();
        return;
    }
    QTimer::singleShot(0, this, [this] { setHolder({}); });
}

void MGAclPlugin::showLinkNote(const MGHostItem &item)
{
    // The permissions shown are the target's, never the link's: say so, and which it is.
    auto *note = new QLabel(window());
    note->setObjectName(QStringLiteral("linkNote"));
    note->setWordWrap(true);
    note->setTextInteractionFlags(Qt::TextSelectableByMouse);
    note->setContentsMargins(10, 6, 10, 0);
    note->setText(NTLocalizedString::localize(
                      QStringLiteral("\u201c%1\u201d is a symbolic link: this window shows and changes the item it leads to, \u201c%2\u201d."),
                      QStringLiteral("ACL"))
                      .arg(MGItemPaths::shownPath(item.linkURL()), MGItemPaths::shownPath(item.URL())));
    note->setAccessibleName(note->text());
    window()->addAccessoryView(note, Qt::TopEdge);
}

MGWindow *MGAclPlugin::window() const
{
    return m_windowController ? m_windowController->window() : nullptr;
}

bool MGAclPlugin::validateMenuItem(QAction *item)
{
    const QString action = item->objectName();
    // An item gone away, or whose name now means another, is read again: that finds it if it
    // is back, and drops the edits only on the user's word.
    const Notice::Kind kind = notice().kind;
    if (action == QLatin1String("revertEntries:") && (kind == Notice::Gone || kind == Notice::Replaced))
        return true;
    // An item nobody can change, or one that is not there, takes no command that edits or
    // writes.
    if (m_session->isReadOnly() && action != QLatin1String("keepMask:"))
        return false;
    if (action == QLatin1String("revertEntries:") || action == QLatin1String("saveEntries:"))
        return canRevertEntries();
    if (action == QLatin1String("sortEntriesCanonically:"))
        return !isCanonical();
    if (action == QLatin1String("removeInheritedEntries:") || action == QLatin1String("makeInheritedEntriesExplicit:"))
        return hasInheritedEntries();
    if (action == QLatin1String("keepMask:")) {
        item->setCheckable(true);
        item->setChecked(m_session->keepsMask());
        return true;
    }
    if (action == QLatin1String("propagateEntries:"))
        return resourceForKey(url(), NSURLIsDirectoryKey).toBool() && !canRevertEntries()
            && !(m_propagationView && m_propagationView->isRunning());
    // The list's own add and remove take row numbers from the table; as menu commands they
    // belong to the table, which knows the selected row.
    if (action == QLatin1String("addEntry:") || action == QLatin1String("removeEntry:"))
        return false;
    return true;
}

bool MGAclPlugin::windowShouldClose(QWidget *window)
{
    if (!window->isWindowModified())
        return true;
    const QString name = resourceForKey(url(), NSURLLocalizedNameKey).toString();
    const QString acl = QStringLiteral("ACL");
    const QString informative =
        QCoreApplication::translate("ACL", "Do you want to apply changed ACL and permissions settings for item \"%@\"?")
            .replace(QStringLiteral("%@"), name);
    const MGAlert alert(MGAlert::Informational,
                        NTLocalizedString::localize(QStringLiteral("ACL and permission settings are changed, but not applied"), acl),
                        informative,
                        {NTLocalizedString::localize(QStringLiteral("Yes")), NTLocalizedString::localize(QStringLiteral("No"))});
    alert.beginSheetModalForWindow(window, [this](int response) {
        if (response == MGAlert::FirstButtonReturn)
            saveEntries(nullptr);
        else if (MGWindow *w = this->window())
            w->closeWithoutAsking();
    });
    return false;
}

void MGAclPlugin::windowWillClose()
{
    QTimer::singleShot(0, this, [this] { setHolder({}); });
}
