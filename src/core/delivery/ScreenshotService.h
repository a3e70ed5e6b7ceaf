#pragma once

#include "Bitmap.h"
#include "CaptureOutput.h"
#include "ImageFormat.h"
#include "Result.h"
#include "ScreenshotOutcome.h"
#include "ScreenshotRequest.h"
#include "ShutterSound.h"
#include "TargetSelector.h"

#include <QHash>
#include <QObject>

#include <functional>
#include <optional>

class ScreenCapturePlatform;
class ScreenRecordingPermission;

// The one road of a screenshot, whoever asks for it (the shortcut, the tray menu, D-Bus, the
// command line): the capture-readiness gate, the selection, the capture, the shutter, the
// encoding off the main thread, and the delivery. It never waits: each request completes
// later, through its callback, from the event loop.
class ScreenshotService : public QObject
{
    Q_OBJECT

public:
    using Encode
        = std::function<Result<QByteArray>(const Bitmap &image, ImageFormat format, double scale, double quality)>;

    struct Parts
    {
        Preferences &preferences;
        ScreenCapturePlatform &screen; // live; a selection captures from its own frozen screens
        ScreenRecordingPermission &permission;
        TargetSelector &selector;
        ShutterSound &shutter;
        Notifier &notifier;
        CaptureOutput &output;
        Encode encode;
    };

    using Completion = std::function<void(const ScreenshotOutcome &)>;
    using Ticket = quint64;

    explicit ScreenshotService(Parts parts, QObject *parent = nullptr);
    ~ScreenshotService() override;

    // A request that selects while a selection is open closes that one first (it completes as
    // cancelled) and then opens its own.
    Ticket take(const ScreenshotRequest &request, const Completion &done);
    // The caller has gone: a selection it waits for closes; a capture already chosen is still
    // delivered (the user made it; nothing is lost), but reports to no one.
    void cancel(Ticket ticket);

    // Why the screen cannot be captured now (permission missing, capture unavailable), if it
    // cannot: the gate every selection passes first, recordings' too.
    std::optional<ScreenshotOutcome> blockedCapture();

    bool isSelecting() const;
    // Closes the open selection, if any; its request completes as cancelled.
    void cancelSelection();

private:
    void capture(
        Ticket ticket, const ScreenshotRequest &request, const CaptureTarget &target, ScreenCapturePlatform &screens);
    void deliver(Ticket ticket, const ScreenshotRequest &request, CaptureOutput::Screenshot shot, double quality);
    enum class Step { capture, encoding };
    void fail(Ticket ticket, const ScreenshotRequest &request, Step step, const Error &error);
    // Completes the request from the event loop, never inside the call that started it.
    void complete(Ticket ticket, ScreenshotOutcome outcome);

    Parts m_parts;
    QHash<Ticket, Completion> m_waiting;
    Ticket m_lastTicket = 0;
    Ticket m_selecting = 0;
};
