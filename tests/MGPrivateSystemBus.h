#pragma once

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// A system bus of the test's own, with polkit played by python-dbusmock and the
// privileged ACL service on it. Start it before anything in the process uses the bus.
class MGPrivateSystemBus
{
public:
    QString address;

    ~MGPrivateSystemBus()
    {
        stopService();
        for (QProcess *p : {&m_polkit, &m_daemon}) {
            p->kill();
            p->waitForFinished();
        }
    }

    bool start(QString *why)
    {
        // Programs running as other users connect to the bus too.
        QFile::setPermissions(m_dir.path(), QFileDevice::Permissions(0x7755));
        const QString config = m_dir.filePath("bus.conf");
        QFile file(config);
        if (!file.open(QIODevice::WriteOnly))
            return fail(why, "cannot write the bus configuration");
        file.write(QStringLiteral(
                       "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                       " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                       "<busconfig><type>system</type><listen>unix:path=%1</listen><auth>EXTERNAL</auth>\n"
                       "<policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
                       "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow receive_sender=\"*\"/></policy>\n"
                       "<include>%2</include></busconfig>\n")
                       .arg(m_dir.filePath("socket"),
                            QStringLiteral(MARROWGATE_SOURCE_DIR "/resources/system/com.quillwork.Marrowgate.AclService.conf"))
                       .toUtf8());
        file.close();
        m_daemon.start("dbus-daemon", {"--config-file=" + config, "--nofork", "--print-address=1"});
        if (!m_daemon.waitForStarted() || !m_daemon.waitForReadyRead(10000))
            return fail(why, "dbus-daemon did not start: " + m_daemon.readAllStandardError());
        address = QString::fromUtf8(m_daemon.readLine()).trimmed();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address.toUtf8());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        m_polkit.setProcessEnvironment(env);
        m_polkit.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_polkit.start("/usr/bin/python3", {"-m", "dbusmock", "--system", "--template",
                                            QStringLiteral(MARROWGATE_SOURCE_DIR "/tests/marrowgate_polkitd.py")});
        if (!waitForName("org.freedesktop.PolicyKit1"))
            return fail(why, "the polkit mock did not start");
        return startService(why);
    }

    bool startService(QString *why = nullptr, int idleSeconds = 600)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("MARROWGATE_SERVICE_IDLE_SECONDS", QString::number(idleSeconds));
        m_service.setProcessEnvironment(env);
        m_service.setProcessChannelMode(QProcess::ForwardedChannels);
        m_service.start(QStringLiteral(MARROWGATE_SERVICE_PATH), {"--system-bus"});
        if (!waitForName("com.quillwork.Marrowgate.AclService"))
            return fail(why, "the privileged service did not start");
        return true;
    }

    void stopService()
    {
        m_service.kill();
        m_service.waitForFinished();
    }

    QProcess &service() { return m_service; }

    // Calls one of the polkit mock's control methods.
    QDBusMessage polkit(const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage call = QDBusMessage::createMethodCall("org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                                                           "org.freedesktop.DBus.Mock", method);
        call.setArguments(arguments);
        return QDBusConnection::systemBus().call(call);
    }

    void allow(const QStringList &actions) { polkit("SetAllowed", {actions}); }

private:
    static bool fail(QString *why, const QString &text)
    {
        if (why)
            *why = text;
        return false;
    }

    static bool waitForName(const QString &name)
    {
        return QTest::qWaitFor([&] { return QDBusConnection::systemBus().interface()->isServiceRegistered(name).value(); },
                               15000);
    }

    QTemporaryDir m_dir;
    QProcess m_daemon;
    QProcess m_polkit;
    QProcess m_service;
};
