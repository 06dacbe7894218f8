#pragma once

#include "MGAclTexts.h"

#include <QString>
#include <optional>

// Registers the editor's value transformers and holds the display texts they share.
class MGAclValueTransformers
{
public:
    // Registers a new instance of each transformer under its name (every call); the shared
    // texts are translated on the first call only.
    static void loadTransformers();

    // The shared text of a code of one of the code tables ("Undefined" for a code the table
    // lacks), and the code whose shared text `text` is exactly. Valid after loadTransformers().
    static QString text(std::span<const MGAclTexts::Row> table, qint64 code);
    static std::optional<qint64> code(std::span<const MGAclTexts::Row> table, const QString &text);
};
