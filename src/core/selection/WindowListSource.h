#pragma once

#include "Result.h"
#include "WindowListEntry.h"

#include <QList>

// The window system's on-screen windows, front to back, unfiltered.
class WindowListSource
{
public:
    virtual ~WindowListSource() = default;
    virtual Result<QList<WindowListEntry>> windowList() = 0;
};
