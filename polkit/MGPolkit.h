#pragma once

#include "MGError.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QMap>
#include <QString>
#include <QVariantMap>

// Asks polkit whether a bus client may perform an action.
class MGPolkit
{
public:
    struct Answer
    {
        bool authorized = false;
        bool dismissed = false; // the user closed the authentication dialog
    };

    // The polkit action of an authorisation right: its name in lower case.
    static QString actionForRight(const QString &right);

    // Checks `action` for the client with the unique bus name `busName`. With
    // `allowInteraction`, polkit may show the desktop's authentication dialog and the call
    // lasts until the user answers it. Blocks; call it off the main thread.
    static MGResult<Answer> checkAuthorization(const QDBusConnection &bus, const QString &busName,
                                               const QString &action, bool allowInteraction);

    static void registerTypes();
};

struct MGPolkitSubject
{
    QString kind;
    QVariantMap details;
};
struct MGPolkitResult
{
    bool authorized = false;
    bool challenge = false;
    QMap<QString, QString> details;
};
Q_DECLARE_METATYPE(MGPolkitSubject)
Q_DECLARE_METATYPE(MGPolkitResult)

QDBusArgument &operator<<(QDBusArgument &argument, const MGPolkitSubject &subject);
const QDBusArgument &operator>>(const QDBusArgument &argument, MGPolkitSubject &subject);
QDBusArgument &operator<<(QDBusArgument &argument, const MGPolkitResult &result);
const QDBusArgument &operator>>(const QDBusArgument &argument, MGPolkitResult &result);
