#include "NTLocalizedString.h"

#include <QCoreApplication>
#include <QHash>
#include <QLocale>
#include <QMutex>
#include <QTranslator>
#include <memory>

namespace {
QMutex translatorLock;
QTranslator *currentTranslator = nullptr;
QString installedLanguage;

// The translation a thread asked for: a loaded translator, or none for the built-in texts.
struct ThreadTranslation
{
    bool set = false;
    const QTranslator *translator = nullptr;
};
thread_local ThreadTranslation threadTranslation;

// One translator per language, loaded on first use and kept for the process's life, so a
// thread may use one without a lock. Kept by the locale a name stands for, not by the name a
// caller sent: a caller making up names cannot make the cache grow.
const QTranslator *translatorFor(const QString &localeName)
{
    static QMutex lock;
    static QHash<QString, std::shared_ptr<QTranslator>> loaded;
    const QLocale locale(localeName);
    QMutexLocker locker(&lock);
    const auto it = loaded.constFind(locale.name());
    if (it != loaded.constEnd())
        return it->get();
    auto translator = std::make_shared<QTranslator>();
    if (!translator->load(locale, QStringLiteral("marrowgate"), QStringLiteral("_"), QStringLiteral(":/i18n")))
        translator.reset();
    loaded.insert(locale.name(), translator);
    return translator.get();
}

QString translated(const QString &table, const QString &key)
{
    const QByteArray context = table.toUtf8();
    const QByteArray source = key.toUtf8();
    if (threadTranslation.set) {
        const QString text = threadTranslation.translator
            ? threadTranslation.translator->translate(context.constData(), source.constData())
            : QString();
        return text.isEmpty() ? key : text;
    }
    return QCoreApplication::translate(context.constData(), source.constData());
}
}

QString NTLocalizedString::count(qint64 n)
{
    QLocale locale(currentLanguage());
    locale.setNumberOptions(locale.numberOptions() & ~QLocale::OmitGroupSeparator);
    return locale.toString(n);
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

NTLocalizedString::ThreadLanguage::ThreadLanguage(const QString &localeName)
    : m_previous(threadTranslation.translator), m_wasSet(threadTranslation.set)
{
    threadTranslation = {true, translatorFor(localeName)};
}

NTLocalizedString::ThreadLanguage::~ThreadLanguage()
{
    threadTranslation = {m_wasSet, static_cast<const QTranslator *>(m_previous)};
}

QString NTLocalizedString::currentLanguage()
{
    QMutexLocker locker(&translatorLock);
    return installedLanguage.isEmpty() ? QLocale().name() : installedLanguage;
}
