#include "ShellHelpers.h"

// What the programs load: the root service and the command line run without any GUI
// library, so they start on a server without a display and carry no more code than they use.
class tst_Linkage : public QObject
{
    Q_OBJECT

    static QStringList libraries(const QString &program)
    {
        QStringList names;
        for (const QString &line : sh("ldd " + quoted(program)).split('\n')) {
            const QString name = line.trimmed().section(' ', 0, 0);
            if (!name.isEmpty())
                names << name;
        }
        return names;
    }

private slots:
    void theServiceLoadsNoGuiAndNoEditorCode_data()
    {
        QTest::addColumn<QString>("program");
        QTest::newRow("service") << QStringLiteral(MARROWGATE_SERVICE_PATH);
        QTest::newRow("command line") << QStringLiteral(MARROWGATE_ACL_PATH);
    }
    void theServiceLoadsNoGuiAndNoEditorCode()
    {
        QFETCH(QString, program);
        const QStringList loaded = libraries(program);
        QVERIFY2(loaded.contains("libQt6Core.so.6") && loaded.contains("libmarrowgate-core.so.0"),
                 qPrintable(loaded.join(' ')));
        for (const QString &name : loaded) {
            QVERIFY2(!name.startsWith("libQt6Gui") && !name.startsWith("libQt6Widgets"), qPrintable(name));
            for (const char *layer : {"ui", "transformers", "views", "plugin"})
                QVERIFY2(!name.startsWith(QStringLiteral("libmarrowgate-%1.").arg(layer)), qPrintable(name));
        }
        if (program == QStringLiteral(MARROWGATE_SERVICE_PATH))
            QVERIFY(!loaded.contains("libmarrowgate-client.so.0"));
        // The SMB client and network management libraries are loaded by the ordinary service
        // when a server item is asked for, never by the privileged one.
        QVERIFY2(!loaded.join(' ').contains(QLatin1String("libsmbclient")), qPrintable(loaded.join(' ')));
        QVERIFY2(!loaded.join(' ').contains(QLatin1String("libnetapi")), qPrintable(loaded.join(' ')));
    }
};

QTEST_GUILESS_MAIN(tst_Linkage)
#include "tst_Linkage.moc"
