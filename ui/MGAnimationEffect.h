#pragma once

#include <QPoint>

// Short animations that say something went away.
class MGAnimationEffect
{
public:
    // A small puff of smoke centred on a point of the screen, gone by itself in a moment;
    // the window showing it is named "MGAnimationEffectPoof" while it lasts.
    static void showPoof(const QPoint &screenCentre);
};
