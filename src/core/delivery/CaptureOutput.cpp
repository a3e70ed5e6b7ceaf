#include "CaptureOutput.h"

#include "ExclusiveFile.h"
#include "FileNameTemplate.h"
#include "MultipartBody.h"
#include "OffMainThread.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>

namespace {

Result<void> makeFolder(const QString &folder, bool privateToUser)
{
    // Staging folders hold captures nobody else should read before they are delivered.
    if (privateToUser)
        return StagingFolders::makePrivate(folder);
    if (!QDir().mkpath(folder))
        return Error{QStringLiteral("Couldn't create the folder %1.").arg(QDir::toNativeSeparators(folder)),
            QLatin1String("mkpath ") + folder};
    return {};
}

// Writes `data` under the template's name in `folder`. A name taken between the check and the
// exclusive create (another capture in the same second) moves on to the next free name.
Result<QString> writeNamed(const QString &folder, bool privateToUser, const QString &baseName, const QString &extension,
    const QByteArray &data)
{
    if (Result<void> made = makeFolder(folder, privateToUser); !made)
        return made.error();
    for (int attempt = 0;; ++attempt) {
        const QString path = FileNameTemplate::uniqueFilePath(folder, baseName, extension);
        const Result<void> written = ExclusiveFile::write(
            path, data, privateToUser ? ExclusiveFile::Access::privateToUser : ExclusiveFile::Access::shared);
        if (written)
            return path;
        if (attempt >= 3 || !QFileInfo::exists(path))
            return written.error();
    }
}

// Moves `source` into `folder` under the template's name, keeping its extension. The move
// never replaces a file, and a full disk says so in the system's words.
Result<QString> moveNamed(const QString &source, const QString &folder, bool privateToUser, const QString &baseName)
{
    if (Result<void> made = makeFolder(folder, privateToUser); !made)
        return made.error();
    const QString extension = QFileInfo(source).suffix();
    for (int attempt = 0;; ++attempt) {
        const QString path = FileNameTemplate::uniqueFilePath(folder, baseName, extension);
        const Result<void> moved = ExclusiveFile::move(
            source, path, privateToUser ? ExclusiveFile::Access::privateToUser : ExclusiveFile::Access::shared);
        if (moved)
            return path;
        if (attempt >= 3 || !QFileInfo::exists(path))
            return moved.error();
    }
}

bool isInside(const QString &path, const QString &folder)
{
    return QFileInfo(path).absoluteDir() == QDir(folder);
}

} // namespace

struct CaptureOutput::ScreenshotJob
{
    Screenshot screenshot;
    Completion done;
    DeliveryOutcome outcome;
    QString baseName; // the template at the moment the capture arrived
    QString stagingCopy;
};

struct CaptureOutput::RecordingJob
{
    QString file; // where it is now
    OutputActions actions;
    Completion done;
    DeliveryOutcome outcome;
    QString baseName;
};

CaptureOutput::CaptureOutput(Services services, QObject *parent)
    : QObject(parent)
    , m_services(std::move(services))
{
}

CaptureOutput::~CaptureOutput() = default;

void CaptureOutput::upload(const QString &path, std::function<void(Result<UploadResult>)> then)
{
    Result<std::unique_ptr<Uploader>> uploader = m_services.makeUploader();
    if (!uploader) {
        then(uploader.error());
        return;
    }
    ++m_runningUploads;
    Q_EMIT runningUploadsChanged(m_runningUploads);
    QPointer<CaptureOutput> self(this);
    (*uploader)->upload(
        path,
        [self](double fraction) {
            if (self)
                Q_EMIT self->uploadProgress(fraction);
        },
        [self, then = std::move(then)](Result<UploadResult> result) {
            if (!self)
                return;
            --self->m_runningUploads;
            Q_EMIT self->runningUploadsChanged(self->m_runningUploads);
            then(std::move(result));
        });
}

// --- screenshots ---

void CaptureOutput::deliverScreenshot(Screenshot screenshot, Completion done)
{
    auto job = std::make_shared<ScreenshotJob>();
    job->outcome.kind = UploadKind::image;
    job->outcome.saveWasOn = screenshot.actions.save;
    job->baseName = FileNameTemplate::expand(m_services.preferences.fileNameTemplate(), QDateTime::currentDateTime());
    job->screenshot = std::move(screenshot);
    job->done = std::move(done);
    saveScreenshot(job);
}

void CaptureOutput::saveScreenshot(const std::shared_ptr<ScreenshotJob> &job)
{
    const Screenshot &shot = job->screenshot;
    if (!shot.actions.save || !shot.data) {
        uploadScreenshot(job);
        return;
    }
    const QString folder = m_services.preferences.folder(PreferenceKey::screenshotSaveFolderPath);
    offMainThread(
        this,
        [shot, folder, baseName = job->baseName]() -> Result<QString> {
            if (!shot.savePath.isEmpty()) {
                if (Result<void> written = ExclusiveFile::write(shot.savePath, *shot.data); !written)
                    return written.error();
                return shot.savePath;
            }
            return writeNamed(folder, false, baseName, fileExtension(shot.format), *shot.data);
        },
        [this, job](const Result<QString> &saved) {
            if (saved)
                job->outcome.savedPath = *saved;
            else
                job->outcome.saveError = saved.error();
            uploadScreenshot(job);
        });
}

void CaptureOutput::uploadScreenshot(const std::shared_ptr<ScreenshotJob> &job)
{
    const Screenshot &shot = job->screenshot;
    if (!shot.actions.upload || !shot.data) {
        finishScreenshot(job);
        return;
    }
    job->outcome.uploadRan = true;
    const auto uploadFrom = [this, job](const QString &path) {
        upload(path, [this, job](const Result<UploadResult> &result) {
            if (result) {
                job->outcome.link = result->url;
                m_services.history.add(
                    UploadRecord::fromResult(*result, UploadKind::image, QDateTime::currentDateTimeUtc()));
            } else {
                job->outcome.uploadError = result.error().message;
            }
            if (!job->stagingCopy.isEmpty()) {
                QFile::remove(job->stagingCopy);
                m_services.temporaries.forget(job->stagingCopy);
            }
            finishScreenshot(job);
        });
    };
    if (job->outcome.saved()) {
        uploadFrom(job->outcome.savedPath);
        return;
    }
    // Not saved for the user: the upload reads a private copy that goes when it is done.
    offMainThread(
        this,
        [folder = m_services.staging.uploads(), baseName = job->baseName, data = *shot.data,
            extension = fileExtension(shot.format), &temporaries = m_services.temporaries]() {
            Result<QString> staged = writeNamed(folder, true, baseName, extension, data);
            if (staged)
                temporaries.add(*staged);
            return staged;
        },
        [this, job, uploadFrom](const Result<QString> &staged) {
            if (!staged) {
                job->outcome.uploadError = staged.error().message;
                finishScreenshot(job);
                return;
            }
            job->stagingCopy = *staged;
            uploadFrom(*staged);
        });
}

void CaptureOutput::finishScreenshot(const std::shared_ptr<ScreenshotJob> &job)
{
    Screenshot &shot = job->screenshot;
    DeliveryOutcome &outcome = job->outcome;
    if (outcome.uploaded())
        m_services.clipboard.setLink(*outcome.link);
    else if (shot.actions.copy) {
        m_services.clipboard.setImage(shot.image, shot.scale);
        outcome.copied = true;
    }

    const bool fallback = outcome.uploadRan && !outcome.uploaded() && !shot.actions.save && shot.data;
    const auto notify = [this, job]() {
        if (job->screenshot.notify) {
            NotificationRequest request = job->outcome.notification();
            request.thumbnail = job->screenshot.image;
            m_services.notifier.post(request);
        }
        if (job->done)
            job->done(job->outcome);
    };
    if (!fallback) {
        notify();
        return;
    }
    const QString folder = m_services.preferences.folder(PreferenceKey::screenshotSaveFolderPath);
    offMainThread(
        this,
        [folder, baseName = job->baseName, data = *shot.data, extension = fileExtension(shot.format)]() {
            return writeNamed(folder, false, baseName, extension, data);
        },
        [job, notify](const Result<QString> &saved) {
            // A failed fallback only loses the line that would have named the file.
            if (saved)
                job->outcome.savedPath = *saved;
            notify();
        });
}

// --- recordings ---

void CaptureOutput::deliverRecording(const QString &file, Completion done)
{
    auto job = std::make_shared<RecordingJob>();
    job->file = file;
    job->actions = OutputActions::forKind(m_services.preferences, UploadKind::video);
    job->outcome.kind = UploadKind::video;
    job->outcome.saveWasOn = job->actions.save;
    job->baseName = FileNameTemplate::expand(m_services.preferences.fileNameTemplate(), QDateTime::currentDateTime());
    job->done = std::move(done);
    placeRecording(job);
}

void CaptureOutput::placeRecording(const std::shared_ptr<RecordingJob> &job)
{
    const bool save = job->actions.save;
    const QString folder
        = save ? m_services.preferences.folder(PreferenceKey::videoSaveFolderPath) : m_services.staging.recordings();
    offMainThread(
        this,
        [file = job->file, folder, save, baseName = job->baseName]() {
            return moveNamed(file, folder, !save, baseName);
        },
        [this, job, save](const Result<QString> &moved) {
            if (moved) {
                job->file = *moved;
                if (save)
                    job->outcome.savedPath = *moved;
            } else if (save) {
                job->outcome.saveError = moved.error();
            }
            uploadRecording(job);
        });
}

void CaptureOutput::uploadRecording(const std::shared_ptr<RecordingJob> &job)
{
    if (!job->actions.upload) {
        finishRecording(job);
        return;
    }
    job->outcome.uploadRan = true;
    upload(job->file, [this, job](const Result<UploadResult> &result) {
        if (result) {
            job->outcome.link = result->url;
            m_services.history.add(
                UploadRecord::fromResult(*result, UploadKind::video, QDateTime::currentDateTimeUtc()));
        } else {
            job->outcome.uploadError = result.error().message;
        }
        finishRecording(job);
    });
}

void CaptureOutput::finishRecording(const std::shared_ptr<RecordingJob> &job)
{
    const bool uploaded = job->outcome.uploaded();
    const bool copyFile = !uploaded && job->actions.copy;
    const bool fallback = job->outcome.uploadRan && !uploaded && !job->actions.save;
    const QString saveFolder = m_services.preferences.folder(PreferenceKey::videoSaveFolderPath);
    const QString staging = m_services.staging.recordings();
    // The fallback move comes before the copy, so that what the clipboard points at is where
    // the file ends up.
    offMainThread(
        this,
        [file = job->file, fallback, copyFile, saveFolder, staging,
            baseName = job->baseName]() -> std::pair<QString, bool> {
            QString placed = file;
            bool movedToFolder = false;
            if (fallback) {
                if (Result<QString> moved = moveNamed(file, saveFolder, false, baseName); moved) {
                    placed = *moved;
                    movedToFolder = true;
                }
            }
            // Kept only where the user or the clipboard can find it.
            if (!copyFile && isInside(placed, staging))
                QFile::remove(placed);
            return {placed, movedToFolder};
        },
        [this, job, copyFile](const std::pair<QString, bool> &placed) {
            DeliveryOutcome &outcome = job->outcome;
            job->file = placed.first;
            if (placed.second)
                outcome.savedPath = placed.first;
            if (outcome.uploaded()) {
                m_services.clipboard.setLink(*outcome.link);
            } else if (copyFile) {
                m_services.clipboard.setFile(job->file);
                outcome.copied = true;
            }
            NotificationRequest request = outcome.notification();
            if (QFileInfo::exists(job->file))
                request.thumbnail = job->file;
            m_services.notifier.post(request);
            if (job->done)
                job->done(outcome);
        });
}
