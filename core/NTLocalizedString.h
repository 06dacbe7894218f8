#pragma once

#include <QString>

// Looks texts up in the product's translation tables. The table "ACL" holds the
// editor's own texts; the default table ("Localizable") holds shared words such as
// "Yes", "No", "OK" and "Cancel".
class NTLocalizedString
{
public:
    static constexpr const char *DefaultTable = "Localizable";

    static QString localize(const QString &key);
    static QString localize(const QString &key, const QString &table);

    // A count as the current language writes it, thousands always grouped ("50,500" also
    // where the language is "C", whose numbers are otherwise written without groups).
    static QString count(qint64 n);

    // Loads the product's translation for `localeName` ("de", "de_DE", ...), replacing an
    // earlier one. "C" or an unknown language falls back to the built-in English texts.
    // Answers whether a translation was found.
    static bool installTranslation(const QString &localeName);
    // The language of the installed translation, or the system's when none was installed.
    static QString currentLanguage();

    // For as long as it lives, texts looked up on this thread come from `localeName`'s
    // translation instead of the installed one (the built-in English texts for "C" or a
    // language without one). A service answering callers of different languages at once
    // gives each request its own.
    class ThreadLanguage
    {
    public:
        explicit ThreadLanguage(const QString &localeName);
        ~ThreadLanguage();
        ThreadLanguage(const ThreadLanguage &) = delete;
        ThreadLanguage &operator=(const ThreadLanguage &) = delete;

    private:
        const void *m_previous;
        bool m_wasSet;
    };
};
