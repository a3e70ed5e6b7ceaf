#pragma once

#include "Bitmap.h"
#include "CaptureOutput.h"
#include "ImageFormat.h"
#include "OutputActions.h"
#include "Result.h"
#include "ShutterSound.h"

#include <QObject>

#include <functional>

// The moment between a capture and its delivery: the shutter sounds, the file is encoded (only
// when it will be saved or uploaded, and never on the main thread), and the output takes over.
// An image that cannot be encoded is reported and goes no further.
class ScreenshotHandOver : public QObject
{
    Q_OBJECT

public:
    using Encode
        = std::function<Result<QByteArray>(const Bitmap &image, ImageFormat format, double scale, double quality)>;

    struct Capture
    {
        Bitmap image;
        double scale = 1.0;
        ImageFormat format = ImageFormat::png;
        double quality = 0.9;
        OutputActions actions;
        QString savePath; // see CaptureOutput::Screenshot
    };

    // The delivery's outcome, or the encoding failure as the user was told it.
    using Completion = std::function<void(Result<DeliveryOutcome>)>;

    ScreenshotHandOver(const Preferences &preferences, ShutterSound &sound, Notifier &notifier, Encode encode,
        QObject *parent = nullptr);

    void handOver(Capture capture, CaptureOutput &output, Completion done);
    // The same, returning once the capture is delivered; events go on being handled meanwhile.
    Result<DeliveryOutcome> handOverAndWait(Capture capture, CaptureOutput &output);

private:
    const Preferences &m_preferences;
    ShutterSound &m_sound;
    Notifier &m_notifier;
    Encode m_encode;
};
