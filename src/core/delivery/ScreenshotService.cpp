#include "ScreenshotService.h"

#include "CaptureError.h"
#include "ScreenRecordingPermission.h"
#include "StillCapture.h"

#include "OffMainThread.h"
#include <QFileInfo>

namespace {

ImageFormat chooseFormat(const ScreenshotRequest &request, const Preferences &preferences)
{
    if (request.format)
        return *request.format;
    const QString suffix = QFileInfo(request.outputPath).suffix().toLower();
    if (suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg"))
        return ImageFormat::jpeg;
    if (suffix == QLatin1String("png"))
        return ImageFormat::png;
    return preferences.enumValue(PreferenceKey::screenshotFormat, imageFormatRawValues, ImageFormat::png);
}

// A named file is written as a script expects, and more happens only when asked; otherwise the
// capture goes where the preferences send every screenshot.
OutputActions chooseActions(const ScreenshotRequest &request, const Preferences &preferences)
{
    const bool toFile = request.toNamedFile();
    const OutputActions preferred
        = toFile ? OutputActions{false, true, false} : OutputActions::forKind(preferences, UploadKind::image);
    return OutputActions{request.copy.value_or(preferred.copy), toFile || request.save.value_or(preferred.save),
        request.upload.value_or(preferred.upload)};
}

ScreenshotOutcome outcomeOf(ScreenshotOutcome::Kind kind, Error error = {})
{
    ScreenshotOutcome outcome;
    outcome.kind = kind;
    outcome.error = std::move(error);
    return outcome;
}

} // namespace

ScreenshotService::ScreenshotService(Parts parts, QObject *parent)
    : QObject(parent)
    , m_parts(std::move(parts))
{
}

ScreenshotService::~ScreenshotService()
{
    // A service that goes answers no one: the open selection closes without a capture.
    m_waiting.clear();
    cancelSelection();
}

bool ScreenshotService::isSelecting() const
{
    return m_parts.selector.isSelecting();
}

void ScreenshotService::cancelSelection()
{
    if (m_parts.selector.isSelecting())
        m_parts.selector.cancel();
}

void ScreenshotService::cancel(Ticket ticket)
{
    m_waiting.remove(ticket);
    if (ticket == m_selecting)
        cancelSelection();
}

std::optional<ScreenshotOutcome> ScreenshotService::blockedCapture()
{
    const ScreenRecordingPermission::Status status = m_parts.permission.currentStatus();
    switch (status.kind) {
    case ScreenRecordingPermission::Status::Kind::granted:
        return std::nullopt;
    case ScreenRecordingPermission::Status::Kind::denied:
        return outcomeOf(ScreenshotOutcome::Kind::permissionMissing);
    case ScreenRecordingPermission::Status::Kind::failed:
        return outcomeOf(ScreenshotOutcome::Kind::unavailable, Error{status.message, QString()});
    }
    return std::nullopt;
}

ScreenshotService::Ticket ScreenshotService::take(const ScreenshotRequest &request, const Completion &done)
{
    const Ticket ticket = ++m_lastTicket;
    m_waiting.insert(ticket, done);

    if (!request.select) {
        const Result<CaptureTarget> target
            = CaptureTarget::choose(request.windowId, request.displayId, request.areaInPoints, m_parts.screen);
        if (!target)
            fail(ticket, request, Step::capture, target.error());
        else
            capture(ticket, request, *target, m_parts.screen);
        return ticket;
    }

    // One selection at a time: a second press of the shortcut, or a second command, closes
    // the open one before anything else happens.
    cancelSelection();

    if (std::optional<ScreenshotOutcome> blocked = blockedCapture()) {
        complete(ticket, std::move(*blocked));
        return ticket;
    }

    m_selecting = ticket;
    m_parts.selector.select(m_parts.preferences.boolValue(PreferenceKey::showMagnifier),
        [this, ticket, request](const Result<std::optional<TargetSelector::Selection>> &chosen) {
            if (m_selecting == ticket)
                m_selecting = 0;
            if (!chosen) {
                fail(ticket, request, Step::capture, chosen.error());
                return;
            }
            // A caller that left while the user chose gets no capture in its name.
            if (!*chosen || !m_waiting.contains(ticket)) {
                complete(ticket, outcomeOf(ScreenshotOutcome::Kind::cancelled));
                return;
            }
            capture(ticket, request, (*chosen)->target, *(*chosen)->screens);
        });
    return ticket;
}

void ScreenshotService::capture(
    Ticket ticket, const ScreenshotRequest &request, const CaptureTarget &target, ScreenCapturePlatform &screens)
{
    const WindowShadow shadow = m_parts.preferences.boolValue(PreferenceKey::includeWindowShadow)
        ? WindowShadow::included
        : WindowShadow::excluded;
    const Result<CapturedStill> still = StillCapture(screens).capture(target, shadow);
    if (!still) {
        fail(ticket, request, Step::capture, still.error());
        return;
    }

    CaptureOutput::Screenshot shot;
    shot.image = still->image;
    shot.scale = still->scale;
    shot.format = chooseFormat(request, m_parts.preferences);
    shot.actions = chooseActions(request, m_parts.preferences);
    shot.savePath = request.toNamedFile() ? request.outputPath : QString();
    // A named file is the whole report a script wants; a notification would only be noise.
    shot.notify = !request.toNamedFile();
    const double quality
        = request.quality.value_or(m_parts.preferences.doubleValue(PreferenceKey::screenshotJPEGQuality));

    // A selection is the user's own capture and sounds, restarted for each one so that two
    // quick ones sound as two; a scripted capture is silent.
    if (request.select && !request.toCaller() && m_parts.preferences.boolValue(PreferenceKey::playShutterSound))
        m_parts.shutter.play();
    deliver(ticket, request, std::move(shot), quality);
}

void ScreenshotService::deliver(
    Ticket ticket, const ScreenshotRequest &request, CaptureOutput::Screenshot shot, double quality)
{
    const auto handOver = [this, ticket](CaptureOutput::Screenshot ready) {
        m_parts.output.deliverScreenshot(std::move(ready), [this, ticket](const DeliveryOutcome &delivered) {
            ScreenshotOutcome outcome;
            outcome.kind = ScreenshotOutcome::Kind::delivered;
            outcome.delivery = delivered;
            complete(ticket, std::move(outcome));
        });
    };
    // Copying alone needs no file: the clipboard makes its own PNG.
    if (!request.toCaller() && !shot.actions.save && !shot.actions.upload) {
        handOver(std::move(shot));
        return;
    }

    auto encodeShot = [encode = m_parts.encode, image = shot.image, format = shot.format, scale = shot.scale, quality] {
        return encode(image, format, scale, quality);
    };
    offMainThread(this, std::move(encodeShot),
        [this, ticket, request, shot = std::move(shot), handOver](Result<QByteArray> data) mutable {
            if (!data) {
                fail(ticket, request, Step::encoding, data.error());
                return;
            }
            if (request.toCaller()) {
                ScreenshotOutcome outcome;
                outcome.kind = ScreenshotOutcome::Kind::encoded;
                outcome.encoded = std::move(data).value();
                complete(ticket, std::move(outcome));
                return;
            }
            shot.data = std::move(data).value();
            handOver(std::move(shot));
        });
}

void ScreenshotService::fail(Ticket ticket, const ScreenshotRequest &request, Step step, const Error &error)
{
    const QString title = step == Step::capture ? QStringLiteral("Couldn't take the screenshot")
                                                : QStringLiteral("Couldn't save the screenshot");
    // The desktop's requests have no terminal to print to. An encoding failure comes after
    // every check the command line makes itself, so it is worth a notification there too,
    // unless the command's own output is the whole report.
    const bool notifies = request.origin == ScreenshotRequest::Origin::desktop
        || (step == Step::encoding && !request.toNamedFile() && !request.toCaller());
    if (notifies) {
        NotificationRequest failure;
        failure.title = title;
        failure.body = error.message;
        failure.failure = true;
        m_parts.notifier.post(failure);
    }
    Error reported = error;
    if (step == Step::encoding)
        reported.message = title + QLatin1String(": ") + error.message;
    complete(ticket, outcomeOf(ScreenshotOutcome::Kind::failed, reported));
}

void ScreenshotService::complete(Ticket ticket, ScreenshotOutcome outcome)
{
    QMetaObject::invokeMethod(
        this,
        [this, ticket, outcome = std::move(outcome)]() {
            const Completion done = m_waiting.take(ticket);
            if (done)
                done(outcome);
        },
        Qt::QueuedConnection);
}
