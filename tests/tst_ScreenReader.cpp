// What a screen reader hears from the window on a real accessibility bus (AT-SPI, on a
// virtual display): granted and denied permissions read apart on the Effective Permissions
// tab, the focus on a cell after an editor closes, the changed-on-disk bar announced as an
// alert, and a permission's box heard when Space ticks it; on a file server's folder, its
// rows and the note above them. The script does the work and says what it heard.
#include "ShellHelpers.h"

#include <QProcess>
#include <QTest>

class tst_ScreenReader : public QObject
{
    Q_OBJECT

    // Runs the check (with `arguments`) and fails with what it heard last.
    static void check(const QStringList &arguments)
    {
        QProcess script;
        script.setProcessChannelMode(QProcess::MergedChannels);
        script.start(QStringLiteral(MARROWGATE_SOURCE_DIR "/scripts/screen-reader-check"), arguments + QStringList{QStringLiteral(MARROWGATE_BUILD_DIR)});
        QVERIFY(script.waitForFinished(300000));
        const QString out = QString::fromUtf8(script.readAll());
        // A failed check is said last; a test message holds about a thousand characters.
        if (script.exitStatus() != QProcess::NormalExit || script.exitCode() != 0)
            qWarning().noquote() << out.right(6000);
        QVERIFY2(script.exitStatus() == QProcess::NormalExit && script.exitCode() == 0, qPrintable(out.right(600)));
    }

private slots:
    void whatIsShownIsHeard()
    {
        REQUIRE_ROOT();
        check({});
    }

    // A folder of a Samba server: its rows granted, denied and open read apart, and the note
    // that the share's own permissions are not counted read out.
    void aServerItemIsHeard()
    {
        REQUIRE_ROOT();
        check({QStringLiteral("--smb")});
    }
};

QTEST_GUILESS_MAIN(tst_ScreenReader)
#include "tst_ScreenReader.moc"
