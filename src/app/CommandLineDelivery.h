#pragma once

#include "CompositionRoot.h"
#include "ScreenshotOutcome.h"

#include <QByteArray>

#include <functional>
#include <memory>

// The desktop services of a command that captures in its own process. The process ends right
// after the capture, so what must outlive it (the clipboard's content, which X11 keeps in the
// owning process, and the notification, whose click comes back to the posting connection) is
// collected here and handed to a background keeper.
class CommandLineDelivery
{
public:
    CommandLineDelivery();
    ~CommandLineDelivery();

    CompositionRoot::Desk desk();

    // Once the capture is delivered: the keeper takes over the clipboard and the notification.
    // A copy the keeper could not take is reported and no longer counted as copied.
    ScreenshotOutcome handOver(ScreenshotOutcome outcome);

    // The keeper's side: shows the handed-over notification and calls `finished` once it is
    // closed (or after a long while, for servers that never say).
    static void showInKeeper(CompositionRoot &root, const QByteArray &attachment, std::function<void()> finished);

private:
    class DeferredClipboard;
    class DeferredNotifier;

    std::unique_ptr<DeferredClipboard> m_clipboard;
    std::unique_ptr<DeferredNotifier> m_notifier;
    std::unique_ptr<ShutterSound> m_shutter;
};
