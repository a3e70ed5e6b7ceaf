#include "ScreenRecordingPermission.h"

#include "ScreenCaptureAccess.h"

ScreenRecordingPermission::ScreenRecordingPermission(ScreenCaptureAccess &access)
    : m_access(access)
{
}

ScreenRecordingPermission::Status ScreenRecordingPermission::currentStatus()
{
    // Probing without permission would make the system prompt on its own; until the user has
    // been sent to grant it, a negative preflight is the answer.
    if (!m_access.preflight() && !m_accessRequested)
        return Status::denied();

    const ScreenCaptureAccess::Probe probe = m_access.probe();
    switch (probe.outcome) {
    case ScreenCaptureAccess::ProbeOutcome::ok:
        return Status::granted();
    case ScreenCaptureAccess::ProbeOutcome::declined:
        return Status::denied();
    case ScreenCaptureAccess::ProbeOutcome::failed:
        break;
    }
    // A failure with the permission in place is a technical problem worth showing; without it,
    // the probe failed because access is missing.
    return m_access.preflight() ? Status::failed(probe.message) : Status::denied();
}
