#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QLocale>
#include <QMutex>
#include <QTranslator>

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
}

QString NTLocalizedString::localize(const QString &key)
{
    return translated(QString::fromLatin1(DefaultTable), key);
}

QString NTLocalizedString::localize(const QString &key, const QString &table)
{
    return translated(table, key);
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
