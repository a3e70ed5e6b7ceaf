#pragma once

#include "WindowListEntry.h"
#include "WindowListSource.h"

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

    // The candidates for a selection: the source's windows less those of `ownPid`.
    static Result<QList<SnapWindow>> fetch(WindowListSource &source, qint64 ownPid);
};
