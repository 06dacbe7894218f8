#pragma once

class MGWindow;
class QAction;
class QMenu;
class QMenuBar;

// The host's menu bar over an ACL window: every command of the window with its shortcut,
// each validated by whoever would answer it when its menu opens.
class MGAclMenuBar
{
public:
    // Gives the window its menu bar (once; a window that has one keeps it).
    static QMenuBar *attachTo(MGWindow *window);
    // The same for every ACL window open.
    static void attachToWindows();

private:
    static QAction *addCommand(MGWindow *window, QMenu *menu, const char *key, const char *action);
    static void validateOnShow(MGWindow *window, QMenu *menu);
};
