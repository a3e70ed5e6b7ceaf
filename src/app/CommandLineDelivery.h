#pragma once

#include "CaptureOutput.h"
#include "ScreenshotHandOver.h"

#include <QByteArray>

#include <functional>

class CompositionRoot;

// Delivers a capture made by the command line through the tray's own output. The process ends
// right afterwards, so what must outlive it (the clipboard's content, which X11 keeps in the
// owning process, and the notification, whose click comes back to the posting connection) is
// handed to a background keeper.
class CommandLineDelivery
{
public:
    // `interactive`: the user picked the target, so the shutter sounds as in the tray;
    // a scripted screenshot is silent.
    CommandLineDelivery(CompositionRoot &root, bool interactive);

    Result<DeliveryOutcome> deliverScreenshot(ScreenshotHandOver::Capture capture, bool notify);

    // The keeper's side: shows the handed-over notification and calls `finished` once it is
    // closed (or after a long while, for servers that never say).
    static void showInKeeper(const QByteArray &attachment, std::function<void()> finished);

private:
    CompositionRoot &m_root;
    bool m_interactive;
};
