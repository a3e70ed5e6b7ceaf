#pragma once

#include "Bitmap.h"
#include "Clipboard.h"
#include "DeliveryOutcome.h"
#include "ImageFormat.h"
#include "Notifier.h"
#include "OutputActions.h"
#include "Preferences.h"
#include "StagingFolders.h"
#include "TemporaryFiles.h"
#include "UploadHistory.h"
#include "Uploader.h"

#include <QByteArray>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>

// Delivers each finished capture as the user's output actions say: saved, uploaded, copied,
// with the fallbacks when an upload fails, and exactly one notification. Files are written
// and moved off the main thread; the clipboard, the history and the notification are touched
// on it. Nothing is lost: a failed upload leaves the file saved and the image copied.
class CaptureOutput : public QObject
{
    Q_OBJECT

public:
    // A fresh uploader with the userhash of the moment, or why there is none.
    using UploaderFactory = std::function<Result<std::unique_ptr<Uploader>>()>;

    struct Services
    {
        Preferences &preferences;
        StagingFolders staging;
        UploadHistory &history;
        Notifier &notifier;
        Clipboard &clipboard;
        UploaderFactory makeUploader;
        // Where staged copies are listed while they exist.
        TemporaryFiles &temporaries;
    };

    struct Screenshot
    {
        Bitmap image; // what the clipboard gets
        double scale = 1.0;
        std::optional<QByteArray> data; // the encoded file; none when neither save nor upload is on
        ImageFormat format = ImageFormat::png;
        OutputActions actions;
        // Save exactly here instead of the folder under the template's name (the command
        // line's -o). The file must not exist yet.
        QString savePath;
        // Off when the caller's own output is the whole report (the command line's -o).
        bool notify = true;
    };

    using Completion = std::function<void(const DeliveryOutcome &)>;

    explicit CaptureOutput(Services services, QObject *parent = nullptr);
    ~CaptureOutput() override;

    void deliverScreenshot(Screenshot screenshot, Completion done = {});
    // `file` is the finished recording where the recorder left it; it is moved from there.
    void deliverRecording(const QString &file, Completion done = {});

    int runningUploads() const { return m_runningUploads; }

Q_SIGNALS:
    void uploadProgress(double fraction);
    void runningUploadsChanged(int count);

private:
    struct ScreenshotJob;
    struct RecordingJob;

    void saveScreenshot(const std::shared_ptr<ScreenshotJob> &job);
    void uploadScreenshot(const std::shared_ptr<ScreenshotJob> &job);
    void finishScreenshot(const std::shared_ptr<ScreenshotJob> &job);
    void placeRecording(const std::shared_ptr<RecordingJob> &job);
    void uploadRecording(const std::shared_ptr<RecordingJob> &job);
    void finishRecording(const std::shared_ptr<RecordingJob> &job);

    void upload(const QString &path, std::function<void(Result<UploadResult>)> then);

    Services m_services;
    int m_runningUploads = 0;
};
