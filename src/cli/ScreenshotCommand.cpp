#include "ScreenshotCommand.h"

#include "CaptureError.h"
#include "ExclusiveFile.h"
#include "FileNameTemplate.h"
#include "ImageEncoder.h"
#include "Preferences.h"
#include "StillCapture.h"

#include <QDateTime>
#include <QDir>
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

ScreenshotCommand::ScreenshotCommand(ScreenCapturePlatform &platform, const Preferences &preferences)
    : m_platform(platform)
    , m_preferences(preferences)
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
    const Result<QByteArray> data = ImageEncoder::encode(still->image, format, still->scale, quality);
    if (!data)
        return fail(errors, data.error());

    if (options.outputPath == QLatin1String("-")) {
        if (standardOutput.write(*data) != data->size())
            return fail(
                errors, Error{QStringLiteral("Couldn't write to standard output."), standardOutput.errorString()});
        return 0;
    }

    QString path = options.outputPath;
    if (path.isEmpty()) {
        const QString folder = m_preferences.folder(PreferenceKey::screenshotSaveFolderPath);
        if (!QDir().mkpath(folder))
            return fail(errors, Error{QStringLiteral("Couldn't create the folder."), folder});
        const QString baseName
            = FileNameTemplate::expand(m_preferences.fileNameTemplate(), QDateTime::currentDateTime());
        path = FileNameTemplate::uniqueFilePath(folder, baseName, fileExtension(format));
    }
    const Result<void> written = ExclusiveFile::write(path, *data);
    if (!written)
        return fail(errors, Error{QStringLiteral("Couldn't save the screenshot: ") + written.error().message, path});
    QTextStream(&standardOutput) << path << '\n';
    return 0;
}
