#pragma once

#include "Shortcut.h"

#include <QString>

#include <optional>

namespace KeyboardShortcuts {

// A shortcut the program offers, by the name its stored entry is kept under.
struct Name
{
    QString rawValue;
    std::optional<Shortcut> defaultShortcut;

    // Shift+Alt+4: opens the selection for a screenshot.
    static Name captureScreenshot();
    // Shift+Alt+5: starts a recording, or stops the running one.
    static Name recordVideo();
    // Escape: cancels the running recording; held only while one runs.
    static Name cancelRecording();
};

} // namespace KeyboardShortcuts
