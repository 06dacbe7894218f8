#include "MGErrorAlert.h"

#include "MGAlert.h"

#include <QMessageBox>

void MGErrorAlert::showWithWindow(const MGError &error, QWidget *window)
{
    auto *box = new QMessageBox(QMessageBox::Warning, QString(), error.localizedDescription(), QMessageBox::Ok, window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setObjectName(QStringLiteral("MGErrorAlert"));
    box->setWindowTitle(MGAlert::titleForWindow(window));
    QStringList details;
    for (const MGError *e = error.underlyingError(); e; e = e->underlyingError()) {
        if (!e->localizedDescription().isEmpty() && e->localizedDescription() != error.localizedDescription())
            details << e->localizedDescription();
    }
    box->setInformativeText(details.join(QLatin1Char('\n')));
    box->setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
    box->open();
}
