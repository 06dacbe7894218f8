#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

// A program's help, written once (app/help/NAME.help) and shown three ways: as its --help
// text in the user's language, as its manual page, and as what the shell completion knows
// of its commands and options. Nothing else describes how the programs are used, so these
// cannot come to say different things.
//
// The source is lines of "KEYWORD TEXT"; a line that starts with white space continues
// the one before it, and "#" starts a comment:
//   name marrowgate-acl            the program
//   summary ...                    one line for the manual's NAME
//   usage list PATH [--json]       one way to call it (see MGAclCommandSyntax)
//   section Commands               a heading; what follows belongs to it
//   item list                      a term, and on the next lines what it means
//   text ...                       a paragraph
//   see-also getfacl(1)            the manual's SEE ALSO
class MGAclHelpPage
{
public:
    struct Block
    {
        QString term; // empty for a paragraph
        QString text;
    };
    struct Section
    {
        QString title;
        QList<Block> blocks;
    };

    QString name;
    QString summary;
    QStringList usages; // without the program's name
    QList<Section> sections;
    QStringList seeAlso;

    // Nothing, with `problem` (naming the line), for a source that breaks the rules above.
    static std::optional<MGAclHelpPage> parse(const QByteArray &source, QString *problem);

    using Translate = std::function<QString(const QString &english)>;
    // The --help text, `width` columns wide; headings and texts pass through `translate`,
    // usages and terms (words typed as they stand) never do.
    QString plainText(const Translate &translate, int width = 100) const;
    // The same as a manual page in section 1 (troff, UTF-8).
    QByteArray manPage(const QString &version) const;
    // Every text plainText translates, for checking that a translation has them all.
    QStringList translatableTexts() const;

    // `text` broken into lines at most `width` wide (a longer word stands alone), the first
    // after `first`, the others after `rest` (both counted in the width).
    static QString wrapped(const QString &text, int width, const QString &first, const QString &rest);
};
