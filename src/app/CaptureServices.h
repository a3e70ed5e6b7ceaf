#pragma once

#include "CaptureOutput.h"
#include "ScreenRecordingPermission.h"
#include "ScreenshotService.h"
#include "UploadHistory.h"

#include <memory>

class ScreenCaptureAccess;
class TargetSelector;

// The objects behind every capture of one process, built once by the composition root: the
// upload history, the capture output, the readiness gate, the selection and the screenshot
// service that runs them. Declared in the order they depend on each other, so they are torn
// down the other way round.
struct CaptureServices
{
    std::unique_ptr<UploadHistory> history;
    std::unique_ptr<CaptureOutput> output;
    std::unique_ptr<ScreenCaptureAccess> access;
    std::unique_ptr<ScreenRecordingPermission> permission;
    std::unique_ptr<TargetSelector> selector;
    std::unique_ptr<ScreenshotService> screenshots;

    CaptureServices();
    ~CaptureServices();
    CaptureServices(CaptureServices &&) noexcept;
    CaptureServices &operator=(CaptureServices &&) noexcept;
};
