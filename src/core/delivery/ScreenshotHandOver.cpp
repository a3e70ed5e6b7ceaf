#include "ScreenshotHandOver.h"

#include <QEventLoop>
#include <QPointer>
#include <QThreadPool>

ScreenshotHandOver::ScreenshotHandOver(
    const Preferences &preferences, ShutterSound &sound, Notifier &notifier, Encode encode, QObject *parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_sound(sound)
    , m_notifier(notifier)
    , m_encode(std::move(encode))
{
}

void ScreenshotHandOver::handOver(Capture capture, CaptureOutput &output, Completion done)
{
    // Restarted for every capture, so two quick ones sound as two.
    if (m_preferences.boolValue(PreferenceKey::playShutterSound))
        m_sound.play();

    CaptureOutput::Screenshot shot;
    shot.image = capture.image;
    shot.scale = capture.scale;
    shot.format = capture.format;
    shot.actions = capture.actions;
    shot.savePath = capture.savePath;
    const auto deliver = [&output, done](CaptureOutput::Screenshot ready) {
        output.deliverScreenshot(std::move(ready), [done](const DeliveryOutcome &outcome) { done(outcome); });
    };
    // Copying alone needs no file: the clipboard gets its own PNG.
    if (!capture.actions.save && !capture.actions.upload) {
        deliver(std::move(shot));
        return;
    }

    QPointer<CaptureOutput> target(&output);
    QThreadPool::globalInstance()->start([this, capture, shot = std::move(shot), deliver, done, target]() mutable {
        Result<QByteArray> data = m_encode(capture.image, capture.format, capture.scale, capture.quality);
        QMetaObject::invokeMethod(
            this,
            [this, data = std::move(data), shot = std::move(shot), deliver, done, target]() mutable {
                if (!data) {
                    NotificationRequest failure;
                    failure.title = QStringLiteral("Couldn't save the screenshot");
                    failure.body = data.error().message;
                    failure.failure = true;
                    m_notifier.post(failure);
                    done(Error{failure.title + QLatin1String(": ") + failure.body, data.error().detail});
                    return;
                }
                if (!target)
                    return;
                shot.data = std::move(*data);
                deliver(std::move(shot));
            },
            Qt::QueuedConnection);
    });
}

Result<DeliveryOutcome> ScreenshotHandOver::handOverAndWait(Capture capture, CaptureOutput &output)
{
    std::optional<Result<DeliveryOutcome>> outcome;
    QEventLoop loop;
    handOver(std::move(capture), output, [&outcome, &loop](Result<DeliveryOutcome> done) {
        outcome = std::move(done);
        loop.quit();
    });
    if (!outcome)
        loop.exec();
    return *outcome;
}
