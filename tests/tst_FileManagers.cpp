// "ACL…" in the file managers users have: Nautilus (through its Python extension) and Nemo
// (through its action) each run on a virtual display as an ordinary user, with a copy of the
// product installed where they look, and the window their menu entry opens must be for the
// file whose menu it was, on a local folder and on a folder of an SMB share (the file manager
// and the editor both log in with the password the desktop keyring keeps). The script that
// makes the README's pictures does the work.
#include "ShellHelpers.h"

#include <QProcess>
#include <QTest>

class tst_FileManagers : public QObject
{
    Q_OBJECT

private slots:
    void theMenuEntryOpensTheWindowForTheFileChosen_data()
    {
        QTest::addColumn<QStringList>("command");
        const QString script = QStringLiteral(MARROWGATE_SOURCE_DIR "/scripts/file-manager-screenshot");
        QTest::newRow("local folder") << QStringList{script, "--check", "nautilus", "nemo"};
        QTest::newRow("folder on an SMB share")
            << QStringList{QStringLiteral(MARROWGATE_SOURCE_DIR "/tests/smb/with-server"), script, "--check", "--smb", "nautilus"};
    }
    void theMenuEntryOpensTheWindowForTheFileChosen()
    {
        QFETCH(QStringList, command);
        REQUIRE_ROOT();
        QProcess script;
        script.setProcessChannelMode(QProcess::MergedChannels);
        script.start(command.takeFirst(), command);
        QVERIFY(script.waitForFinished(600000));
        const QString out = QString::fromUtf8(script.readAll());
        QVERIFY2(script.exitStatus() == QProcess::NormalExit && script.exitCode() == 0, qPrintable(out));
    }
};

QTEST_GUILESS_MAIN(tst_FileManagers)
#include "tst_FileManagers.moc"
