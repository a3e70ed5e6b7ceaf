#include "ScreenshotCommand.h"

#include "CaptureError.h"
#include "ImageEncoder.h"
#include "Preferences.h"
#include "StillCapture.h"

#include <QFileInfo>
#include <QIODevice>
#include <QTextStream>

namespace {

int fail(QTextStream &errors, const Error &error)
{
    errors << "qorvel: " << error.message;
    if (!error.detail.isEmpty())
        errors << " (" << error.detail << ')';
    errors << '\n';
    return 1;
}

// --display, else the display under the pointer, else the primary; an area is local to the
// display it names or, without one, to the primary.
Result<CaptureTarget> chooseTarget(const ScreenshotOptions &options, ScreenCapturePlatform &platform)
{
    if (options.windowId)
        return CaptureTarget::window(*options.windowId);
    if (options.displayId && !options.areaInPoints)
        return CaptureTarget::display(*options.displayId);

    Result<ScreenContent> content = platform.shareableContent();
    if (!content)
        return content.error();
    if (content->displays.isEmpty())
        return toError(CaptureError::displayNotFound);
    if (options.areaInPoints)
        return CaptureTarget::area(options.displayId.value_or(content->displays.first().id), *options.areaInPoints);

    if (const std::optional<QPointF> pointer = platform.pointerPosition()) {
        for (const ScreenDisplay &display : std::as_const(content->displays)) {
            if (display.frame.contains(*pointer))
                return CaptureTarget::display(display.id);
        }
    }
    return CaptureTarget::display(content->displays.first().id);
}

ImageFormat chooseFormat(const ScreenshotOptions &options, const Preferences &preferences)
{
    if (options.format)
        return *options.format;
    const QString suffix = QFileInfo(options.outputPath).suffix().toLower();
    if (suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg"))
        return ImageFormat::jpeg;
    if (suffix == QLatin1String("png"))
        return ImageFormat::png;
    return preferences.enumValue(PreferenceKey::screenshotFormat, imageFormatRawValues, ImageFormat::png);
}

} // namespace

ScreenshotCommand::ScreenshotCommand(ScreenCapturePlatform &platform, const Preferences &preferences, Deliver deliver)
    : m_platform(platform)
    , m_preferences(preferences)
    , m_deliver(std::move(deliver))
{
}

int ScreenshotCommand::run(const ScreenshotOptions &options, QIODevice &standardOutput, QTextStream &errors,
    const std::optional<CaptureTarget> &chosen)
{
    const Result<CaptureTarget> target = chosen ? Result<CaptureTarget>(*chosen) : chooseTarget(options, m_platform);
    if (!target)
        return fail(errors, target.error());

    const WindowShadow shadow
        = m_preferences.boolValue(PreferenceKey::includeWindowShadow) ? WindowShadow::included : WindowShadow::excluded;
    StillCapture capture(m_platform);
    const Result<CapturedStill> still = capture.capture(*target, shadow);
    if (!still)
        return fail(errors, still.error());

    const ImageFormat format = chooseFormat(options, m_preferences);
    const double quality = options.quality.value_or(m_preferences.doubleValue(PreferenceKey::screenshotJPEGQuality));
    if (options.outputPath == QLatin1String("-")) {
        const Result<QByteArray> data = ImageEncoder::encode(still->image, format, still->scale, quality);
        if (!data)
            return fail(errors, data.error());
        if (standardOutput.write(*data) != data->size())
            return fail(
                errors, Error{QStringLiteral("Couldn't write to standard output."), standardOutput.errorString()});
        return 0;
    }

    ScreenshotHandOver::Capture shot;
    shot.image = still->image;
    shot.scale = still->scale;
    shot.format = format;
    shot.quality = quality;
    // With -o the command writes that file, as a script expects, and does more only when asked;
    // without it, the capture goes where the preferences send the tray's captures.
    const bool toFile = !options.outputPath.isEmpty();
    const OutputActions preferred
        = toFile ? OutputActions{false, true, false} : OutputActions::forKind(m_preferences, UploadKind::image);
    shot.actions.copy = options.copy.value_or(preferred.copy);
    shot.actions.save = toFile || options.save.value_or(preferred.save);
    shot.actions.upload = options.upload.value_or(preferred.upload);
    shot.savePath = options.outputPath;

    const Result<DeliveryOutcome> delivered = m_deliver(std::move(shot), !toFile);
    if (!delivered)
        return fail(errors, Error{delivered.error().message, QString()});
    const DeliveryOutcome &outcome = *delivered;
    QTextStream output(&standardOutput);
    if (outcome.saved())
        output << outcome.savedPath << '\n';
    if (outcome.link)
        output << outcome.link->toString() << '\n';
    output.flush();

    int status = 0;
    if (outcome.saveError)
        status = fail(errors, Error{QLatin1String("Couldn't save the file: ") + outcome.saveError->message, QString()});
    if (outcome.uploadRan && !outcome.uploaded()) {
        errors << "qorvel: Upload failed: " << outcome.uploadError << '\n';
        if (outcome.saved() && !outcome.saveWasOn)
            errors << "qorvel: saved as a fallback: " << outcome.savedPath << '\n';
        status = 1;
    }
    if (!outcome.saved() && !outcome.uploaded() && !outcome.copied && !outcome.saveError && !outcome.uploadRan)
        errors << "qorvel: no output action is on: the screenshot was not kept\n";
    return status;
}
