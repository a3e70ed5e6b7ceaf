#pragma once

#include <QString>

// The window system's permission model for reading the screen. X11 has none (every probe
// either works or fails for a technical reason); a portal-based desktop can refuse.
class ScreenCaptureAccess
{
public:
    enum class ProbeOutcome { ok, declined, failed };
    struct Probe
    {
        ProbeOutcome outcome = ProbeOutcome::failed;
        QString message; // the platform's words, when it failed
    };

    virtual ~ScreenCaptureAccess() = default;

    // Whether the system believes the permission is present, without asking anyone.
    virtual bool preflight() = 0;
    // Asks the system for access; may show the system's own prompt.
    virtual void request() = 0;
    // Tries to read screen content.
    virtual Probe probe() = 0;
    // Opens the system's settings page for the permission, where there is one.
    virtual void openSettings() = 0;
};
