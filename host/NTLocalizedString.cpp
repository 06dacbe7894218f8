#include "NTLocalizedString.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QGroupBox>
#include <QLabel>
#include <QLocale>
#include <QMutex>
#include <QTabWidget>
#include <QTranslator>
#include <QWidget>

namespace {
QMutex translatorLock;
QTranslator *currentTranslator = nullptr;
QString installedLanguage;

QString translated(const QString &table, const QString &key)
{
    const QByteArray context = table.toUtf8();
    const QByteArray source = key.toUtf8();
    return QCoreApplication::translate(context.constData(), source.constData());
}

// The untranslated key of a widget's text, stored on the widget the first time it is seen.
QString keyFor(QWidget *widget, const char *property, const QString &current)
{
    const QVariant stored = widget->property(property);
    if (stored.isValid())
        return stored.toString();
    widget->setProperty(property, current);
    return current;
}
}

QString NTLocalizedString::localize(const QString &key)
{
    return translated(QString::fromLatin1(DefaultTable), key);
}

QString NTLocalizedString::localize(const QString &key, const QString &table)
{
    return translated(table, key);
}

void NTLocalizedString::localizeView(QWidget *root, const QString &table)
{
    if (!root)
        return;
    QList<QWidget *> widgets = root->findChildren<QWidget *>();
    widgets.prepend(root);
    for (QWidget *widget : std::as_const(widgets)) {
        if (!widget->toolTip().isEmpty() || widget->property("mgToolTipKey").isValid())
            widget->setToolTip(localize(keyFor(widget, "mgToolTipKey", widget->toolTip()), table));
        if (auto *label = qobject_cast<QLabel *>(widget)) {
            if (!label->text().isEmpty() || label->property("mgTextKey").isValid())
                label->setText(localize(keyFor(label, "mgTextKey", label->text()), table));
        } else if (auto *button = qobject_cast<QAbstractButton *>(widget)) {
            if (!button->text().isEmpty() || button->property("mgTextKey").isValid())
                button->setText(localize(keyFor(button, "mgTextKey", button->text()), table));
        } else if (auto *group = qobject_cast<QGroupBox *>(widget)) {
            group->setTitle(localize(keyFor(group, "mgTextKey", group->title()), table));
        } else if (auto *tabs = qobject_cast<QTabWidget *>(widget)) {
            for (int i = 0; i < tabs->count(); ++i) {
                const QByteArray property = "mgTabKey" + QByteArray::number(i);
                tabs->setTabText(i, localize(keyFor(tabs, property.constData(), tabs->tabText(i)), table));
            }
        }
    }
}

bool NTLocalizedString::installTranslation(const QString &localeName)
{
    QMutexLocker locker(&translatorLock);
    if (currentTranslator) {
        QCoreApplication::removeTranslator(currentTranslator);
        delete currentTranslator;
        currentTranslator = nullptr;
    }
    installedLanguage = localeName;
    auto translator = std::make_unique<QTranslator>();
    if (!translator->load(QLocale(localeName), QStringLiteral("marrowgate"), QStringLiteral("_"),
                          QStringLiteral(":/i18n")))
        return false;
    QCoreApplication::installTranslator(translator.get());
    currentTranslator = translator.release();
    return true;
}

QString NTLocalizedString::currentLanguage()
{
    QMutexLocker locker(&translatorLock);
    return installedLanguage.isEmpty() ? QLocale().name() : installedLanguage;
}
