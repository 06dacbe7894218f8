#pragma once

#include "MGError.h"

#include <QByteArray>
#include <QCborMap>
#include <QString>

// An account's name and password for a file server, held only in memory: the password is
// overwritten when the value goes, and the process that holds one is made undumpable, so
// it reaches no core dump. Nothing here writes it anywhere.
class MGServerCredentials
{
public:
    MGServerCredentials() = default;
    MGServerCredentials(QString user, QByteArray password, QString domain);
    MGServerCredentials(const MGServerCredentials &other);
    MGServerCredentials &operator=(const MGServerCredentials &other);
    ~MGServerCredentials();

    const QString &user() const { return m_user; }
    const QString &domain() const { return m_domain; }
    const QByteArray &password() const { return m_password; }
    bool isEmpty() const { return m_user.isEmpty(); }

    // An authentication file in the form file-server tools take: lines "username = NAME",
    // "password = SECRET", "domain = DOMAIN" ("DOMAIN\NAME" or "NAME@REALM" as the user
    // name also give the domain); "#" and ";" begin comments.
    static MGResult<MGServerCredentials> fromAuthenticationFile(const QString &path);

    // As it crosses to the ACL service: {"user", "password", "domain"}.
    QCborMap toCbor() const;
    static MGServerCredentials fromCbor(const QCborMap &map);

    // Keeps this process out of core dumps and tracing by other processes of its user,
    // once a password is held.
    static void protectProcess();

private:
    void wipe();
    QString m_user;
    QByteArray m_password;
    QString m_domain;
};
