#include "MGErrorAlert.h"

#include <QApplication>
#include <QMessageBox>
#include <QtTest>

class tst_MGErrorAlert : public QObject
{
    Q_OBJECT
private slots:
    void showsAWindowModalMessage()
    {
        QWidget window;
        window.show();
        MGErrorAlert::showWithWindow(
            MGError::errorWithError(MGError::posixError(EACCES, "cause text"), "Error saving Acces Control List entries"),
            &window);
        QTRY_VERIFY(QApplication::activeModalWidget());
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        QVERIFY(box);
        QCOMPARE(box->windowModality(), Qt::WindowModal);
        QCOMPARE(box->parentWidget(), &window);
        QCOMPARE(box->text(), QStringLiteral("Error saving Acces Control List entries"));
        QCOMPARE(box->informativeText(), QStringLiteral("cause text"));
        box->accept();
    }
};

QTEST_MAIN(tst_MGErrorAlert)
#include "tst_MGErrorAlert.moc"
