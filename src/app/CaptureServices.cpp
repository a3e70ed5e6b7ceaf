#include "CaptureServices.h"

#include "ScreenCaptureAccess.h"
#include "TargetSelector.h"

CaptureServices::CaptureServices() = default;
CaptureServices::~CaptureServices()
{
    // The service first: it closes an open selection, which still reports through it.
    screenshots.reset();
}
CaptureServices::CaptureServices(CaptureServices &&) noexcept = default;
CaptureServices &CaptureServices::operator=(CaptureServices &&) noexcept = default;
