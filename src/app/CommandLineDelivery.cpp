#include "CommandLineDelivery.h"

#include "ClipboardKeeper.h"
#include "ErrorOutput.h"
#include "FreedesktopNotifier.h"
#include "ThumbnailSize.h"

#include "BitmapImage.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QImage>
#include <QTextStream>
#include <QTimer>

#include <chrono>

namespace {

// A server that never reports a notification closed must not keep the keeper forever.
constexpr std::chrono::minutes longestNotificationWait(30);

} // namespace

// The last thing put on the clipboard, to be put there again by the keeper.
class CommandLineDelivery::DeferredClipboard : public Clipboard
{
public:
    std::function<void(Clipboard &)> replay;

    void setLink(const QUrl &link) override
    {
        replay = [link](Clipboard &clipboard) { clipboard.setLink(link); };
    }
    void setImage(const Bitmap &image, double scale) override
    {
        replay = [image, scale](Clipboard &clipboard) { clipboard.setImage(image, scale); };
    }
    void setFile(const QString &path) override
    {
        replay = [path](Clipboard &clipboard) { clipboard.setFile(path); };
    }
};

// The one notification of the capture, to be shown by the keeper.
class CommandLineDelivery::DeferredNotifier : public Notifier
{
public:
    std::optional<NotificationRequest> request;
    void post(const NotificationRequest &posted) override { request = posted; }
};

namespace {

// The notification as the keeper receives it. The picture travels at thumbnail size: the
// keeper needs no more, and a 4K frame would only slow the hand-over.
QByteArray encode(const NotificationRequest &request)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_4);
    stream << request.title << request.body << request.failure << request.action.has_value();
    if (request.action)
        stream << int(request.action->kind) << request.action->url;
    QImage thumbnail;
    if (const Bitmap *image = std::get_if<Bitmap>(&request.thumbnail)) {
        thumbnail = BitmapImage::wrap(*image).scaled(
            thumbnailSize(image->size()), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    stream << thumbnail;
    return bytes;
}

std::optional<NotificationRequest> decode(const QByteArray &bytes)
{
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_6_4);
    NotificationRequest request;
    bool hasAction = false;
    stream >> request.title >> request.body >> request.failure >> hasAction;
    if (hasAction) {
        int kind = 0;
        QUrl url;
        stream >> kind >> url;
        request.action = NotificationAction{NotificationAction::Kind(kind), url};
    }
    QImage thumbnail;
    stream >> thumbnail;
    if (stream.status() != QDataStream::Ok)
        return std::nullopt;
    if (!thumbnail.isNull())
        request.thumbnail = BitmapImage::fromImage(thumbnail);
    return request;
}

} // namespace

CommandLineDelivery::CommandLineDelivery()
    : m_clipboard(std::make_unique<DeferredClipboard>())
    , m_notifier(std::make_unique<DeferredNotifier>())
    , m_shutter(CompositionRoot::makeShutterSound())
{
}

CommandLineDelivery::~CommandLineDelivery() = default;

CompositionRoot::Desk CommandLineDelivery::desk()
{
    return {*m_clipboard, *m_notifier, *m_shutter};
}

ScreenshotOutcome CommandLineDelivery::handOver(ScreenshotOutcome outcome)
{
    // The process ends soon after; the shutter would be cut short.
    m_shutter->waitUntilQuiet(std::chrono::seconds(2));

    const QByteArray attachment = m_notifier->request ? encode(*m_notifier->request) : QByteArray();
    if (!m_clipboard->replay && attachment.isEmpty())
        return outcome;
    const Result<qint64> keeper = ClipboardKeeper::keepInBackground(m_clipboard->replay, attachment);
    if (!keeper) {
        QTextStream errors(stderr);
        printError(errors, keeper.error());
        outcome.delivery.copied = false;
    }
    return outcome;
}

void CommandLineDelivery::showInKeeper(
    CompositionRoot &root, const QByteArray &attachment, std::function<void()> finished)
{
    const std::optional<NotificationRequest> request = decode(attachment);
    if (!request) {
        finished();
        return;
    }
    // The command printed its failures already: with no server to show them, nothing more is
    // said, and the keeper has no widgets for an alert.
    // Killed, the keeper still takes the thumbnail along.
    root.endOnSignals();
    FreedesktopNotifier *notifier = root.makeNotifier().release();
    notifier->setParent(QCoreApplication::instance());
    auto done = std::make_shared<std::function<void()>>(std::move(finished));
    const auto finishOnce = [done]() {
        if (*done)
            std::exchange(*done, {})();
    };
    QObject::connect(notifier, &FreedesktopNotifier::settled, QCoreApplication::instance(), finishOnce);
    QTimer::singleShot(longestNotificationWait, QCoreApplication::instance(), finishOnce);
    notifier->post(*request);
}
