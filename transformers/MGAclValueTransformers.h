#pragma once

#include <QString>

// Registers the editor's value transformers and holds the display texts they share.
class MGAclValueTransformers
{
public:
    // Registers a new instance of each transformer under its name (every call); the shared
    // texts are translated on the first call only.
    static void loadTransformers();

    struct Texts
    {
        QString allow, deny, undefined, fullControl, read, write, readWrite, noAccess, custom;
    };
    // The shared texts; only valid after loadTransformers().
    static const Texts &texts();

    static QString tagText(qint32 tag);
    static QString permissionGroupText(qint64 group);
};
