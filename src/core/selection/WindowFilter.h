#pragma once

#include "WindowListEntry.h"

#include <QList>
#include <QSet>

// Reduces the window system's list to the windows a click could mean: other processes'
// ordinary windows, visible and not tiny, in the order given (front to back).
class WindowFilter
{
public:
    static constexpr double minimumSide = 20.0;

    // The desktop's own shells, panels and widgets: never a window the user means.
    static const QSet<QString> &excludedApplicationIds();

    static QList<SnapWindow> filter(
        const QList<WindowListEntry> &entries, qint64 excludedPid, double minimumSideInPoints = minimumSide);
};
