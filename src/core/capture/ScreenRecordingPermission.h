#pragma once

#include <QString>

class ScreenCaptureAccess;

// Whether Qorvel may read the screen. One instance per process: it remembers whether access
// was requested in this run, which changes how a missing preflight is read.
class ScreenRecordingPermission
{
public:
    struct Status
    {
        enum class Kind { failed, granted, denied };
        Kind kind = Kind::denied;
        QString message; // with `failed`: why the screen could not be read

        static Status granted() { return {Kind::granted, {}}; }
        static Status denied() { return {Kind::denied, {}}; }
        static Status failed(const QString &message) { return {Kind::failed, message}; }
        friend bool operator==(const Status &, const Status &) = default;
    };

    explicit ScreenRecordingPermission(ScreenCaptureAccess &access);

    Status currentStatus();

    bool accessRequested() const { return m_accessRequested; }
    // Set when the user is sent to grant access; never reset during the run.
    void markAccessRequested() { m_accessRequested = true; }

    ScreenCaptureAccess &access() { return m_access; }

private:
    ScreenCaptureAccess &m_access;
    bool m_accessRequested = false;
};
