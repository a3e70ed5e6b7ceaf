#pragma once

#include "Result.h"

// Whether Qorvel starts when the user logs in. The desktop keeps this, not the preferences
// file, so the switch is read from it every time it is shown.
class LoginItem
{
public:
    enum class Status {
        disabled,
        enabled,
        // Registered, but the desktop waits for the user to allow it (a portal may ask).
        requiresApproval,
    };

    virtual ~LoginItem() = default;

    virtual Status status() const = 0;
    virtual Result<void> setEnabled(bool enabled) = 0;
};
