#include "MGAclHelpPage.h"

#include <QRegularExpression>

namespace {
const QStringList Keywords = {QStringLiteral("name"),    QStringLiteral("summary"), QStringLiteral("usage"),
                              QStringLiteral("section"), QStringLiteral("item"),    QStringLiteral("text"),
                              QStringLiteral("see-also")};

// troff takes a backslash as an escape, a leading dot or quote as a request, and a plain
// hyphen as one it may break at or draw as a dash; options must stay copyable.
QString troff(const QString &text)
{
    QString out = text;
    out.replace(QLatin1Char('\\'), QStringLiteral("\\e"));
    out.replace(QLatin1Char('-'), QStringLiteral("\\-"));
    if (out.startsWith(QLatin1Char('.')) || out.startsWith(QLatin1Char('\'')))
        out.prepend(QStringLiteral("\\&"));
    return out;
}
}

std::optional<MGAclHelpPage> MGAclHelpPage::parse(const QByteArray &source, QString *problem)
{
    struct Line
    {
        int number;
        QString keyword, head, body; // body: the continuation lines, joined
    };
    QList<Line> lines;
    const QStringList raw = QString::fromUtf8(source).split(QLatin1Char('\n'));
    for (int i = 0; i < raw.size(); ++i) {
        const QString &line = raw[i];
        if (line.trimmed().isEmpty() || line.trimmed().startsWith(QLatin1Char('#')))
            continue;
        if (line.front().isSpace()) {
            if (lines.isEmpty()) {
                *problem = QStringLiteral("line %1: a continuation with nothing to continue").arg(i + 1);
                return std::nullopt;
            }
            QString &body = lines.last().body;
            body += (body.isEmpty() ? QString() : QStringLiteral(" ")) + line.trimmed();
            continue;
        }
        const qsizetype space = line.indexOf(QLatin1Char(' '));
        const QString keyword = line.left(space < 0 ? line.size() : space);
        if (!Keywords.contains(keyword)) {
            *problem = QStringLiteral("line %1: unknown keyword \u201c%2\u201d").arg(i + 1).arg(keyword);
            return std::nullopt;
        }
        lines.append({i + 1, keyword, space < 0 ? QString() : line.mid(space + 1).trimmed(), QString()});
    }
    MGAclHelpPage page;
    for (const Line &line : lines) {
        const QString whole = (line.head + QLatin1Char(' ') + line.body).trimmed();
        if (line.keyword == QLatin1String("name")) {
            page.name = whole;
        } else if (line.keyword == QLatin1String("summary")) {
            page.summary = whole;
        } else if (line.keyword == QLatin1String("usage")) {
            page.usages << whole;
        } else if (line.keyword == QLatin1String("section")) {
            page.sections.append({whole, {}});
        } else if (line.keyword == QLatin1String("see-also")) {
            page.seeAlso << whole;
        } else if (page.sections.isEmpty()) {
            *problem = QStringLiteral("line %1: \u201c%2\u201d before any section").arg(line.number).arg(line.keyword);
            return std::nullopt;
        } else if (line.keyword == QLatin1String("text")) {
            page.sections.last().blocks.append({QString(), whole});
        } else if (line.head.isEmpty() || line.body.isEmpty()) {
            *problem = QStringLiteral("line %1: an item needs a term and, below it, what it means").arg(line.number);
            return std::nullopt;
        } else {
            page.sections.last().blocks.append({line.head, line.body});
        }
    }
    if (page.name.isEmpty() || page.summary.isEmpty() || page.usages.isEmpty()) {
        *problem = QStringLiteral("a help page needs a name, a summary and at least one usage");
        return std::nullopt;
    }
    return page;
}

QString MGAclHelpPage::wrapped(const QString &text, int width, const QString &first, const QString &rest)
{
    QString out = first, line = first;
    bool lineHasWord = false;
    for (const QString &word : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (lineHasWord && line.size() + 1 + word.size() > width) {
            out += QLatin1Char('\n') + rest;
            line = rest;
            lineHasWord = false;
        }
        if (lineHasWord) {
            out += QLatin1Char(' ');
            line += QLatin1Char(' ');
        }
        out += word;
        line += word;
        lineHasWord = true;
    }
    return out + QLatin1Char('\n');
}

QString MGAclHelpPage::plainText(const Translate &translate, int width) const
{
    QString out;
    const QString usageWord = translate(QStringLiteral("usage:"));
    const QString lead = QString(usageWord.size() + 1, QLatin1Char(' '));
    for (int i = 0; i < usages.size(); ++i) {
        const QString start = (i == 0 ? usageWord + QLatin1Char(' ') : lead) + name
            + (usages[i].isEmpty() ? QString() : QStringLiteral(" "));
        // A long usage goes on under its own first argument.
        const qsizetype command = usages[i].indexOf(QLatin1Char(' '));
        const QString rest = QString(start.size() + (command < 0 ? 0 : command + 1), QLatin1Char(' '));
        // An option and the words it takes stay on one line.
        QString usage = usages[i];
        for (qsizetype at = 0, depth = 0; at < usage.size(); ++at) {
            depth += usage[at] == QLatin1Char('[') ? 1 : usage[at] == QLatin1Char(']') ? -1 : 0;
            if (depth > 0 && usage[at] == QLatin1Char(' '))
                usage[at] = QChar(0x00A0);
        }
        out += wrapped(usage, width, start, rest).replace(QChar(0x00A0), QLatin1Char(' '));
    }
    constexpr int TermColumn = 23;
    for (const Section &section : sections) {
        out += QLatin1Char('\n') + translate(section.title) + QStringLiteral(":\n");
        for (const Block &block : section.blocks) {
            if (block.term.isEmpty()) {
                out += wrapped(translate(block.text), width, QStringLiteral("  "), QStringLiteral("  "));
                continue;
            }
            const QString hanging(TermColumn, QLatin1Char(' '));
            QString term = QStringLiteral("  ") + block.term;
            if (term.size() >= TermColumn - 1) {
                out += term + QLatin1Char('\n');
                term = hanging;
            }
            out += wrapped(translate(block.text), width, term.leftJustified(TermColumn), hanging);
        }
    }
    return out;
}

QStringList MGAclHelpPage::translatableTexts() const
{
    QStringList texts{QStringLiteral("usage:")};
    for (const Section &section : sections) {
        texts << section.title;
        for (const Block &block : section.blocks)
            texts << block.text;
    }
    return texts;
}

QByteArray MGAclHelpPage::manPage(const QString &version) const
{
    QString out = QStringLiteral(".TH %1 1 \"\" \"Marrowgate %2\" \"User Commands\"\n").arg(troff(name.toUpper()), version);
    out += QStringLiteral(".SH NAME\n%1 \\- %2\n").arg(troff(name), troff(summary));
    // Options are copied as typed: never broken at a hyphen.
    out += QStringLiteral(".nh\n.SH SYNOPSIS\n.ad l\n");
    for (const QString &usage : usages)
        out += QStringLiteral(".br\n\\fB%1\\fR %2\n").arg(troff(name), troff(usage));
    out += QStringLiteral(".ad\n");
    for (const Section &section : sections) {
        out += QStringLiteral(".SH %1\n").arg(troff(section.title.toUpper()));
        for (const Block &block : section.blocks) {
            if (block.term.isEmpty())
                out += QStringLiteral(".PP\n%1\n").arg(troff(block.text));
            else
                out += QStringLiteral(".TP\n.B %1\n%2\n").arg(troff(block.term), troff(block.text));
        }
    }
    if (!seeAlso.isEmpty()) {
        QStringList pages;
        for (const QString &page : seeAlso) {
            // "getfacl(1)" is set as a reference: the name in bold.
            static const QRegularExpression reference(QStringLiteral("^(.+)\\((\\d)\\)$"));
            const QRegularExpressionMatch match = reference.match(page);
            pages << (match.hasMatch() ? QStringLiteral("\\fB%1\\fR(%2)").arg(troff(match.captured(1)), match.captured(2))
                                       : troff(page));
        }
        out += QStringLiteral(".SH SEE ALSO\n%1\n").arg(pages.join(QStringLiteral(", ")));
    }
    return out.toUtf8();
}
