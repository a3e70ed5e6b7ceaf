#pragma once

#include "CaptureTarget.h"
#include "Result.h"
#include "ScreenCapturePlatform.h"

#include <functional>
#include <memory>
#include <optional>

// Lets the user choose what to capture: the selection overlay on a desktop.
class TargetSelector
{
public:
    struct Selection
    {
        CaptureTarget target;
        // The screens as the user saw them while choosing; the capture is taken from here.
        std::shared_ptr<ScreenCapturePlatform> screens;
    };
    // None when the user cancelled; an error when no selection could be offered.
    using Completion = std::function<void(Result<std::optional<Selection>>)>;

    virtual ~TargetSelector() = default;

    // At most one selection is open; the caller closes an open one first.
    virtual void select(bool showsMagnifier, Completion done) = 0;
    virtual bool isSelecting() const = 0;
    // Closes the open selection, which completes as cancelled.
    virtual void cancel() = 0;
};
