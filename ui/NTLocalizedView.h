#pragma once

#include <QString>

class QWidget;

// Translates the texts of a view built from an interface file.
class NTLocalizedView
{
public:
    // Translates every text of `widget` and its children in place through the table. The
    // original key is remembered on each widget, so calling it again after a language
    // change works.
    static void localizeView(QWidget *widget, const QString &table);
};
