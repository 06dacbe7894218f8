#pragma once

#include "MGError.h"

class QWidget;

// Presents errors to the user.
class MGErrorAlert
{
public:
    // Shows `error` as a window-modal message on `window` (its description, and beneath it
    // the descriptions of the errors it wraps) and returns at once.
    static void showWithWindow(const MGError &error, QWidget *window);
};
