#include "UploadRemoval.h"

#include <QPointer>
#include <QTimer>

#include <utility>

UploadRemoval::UploadRemoval(UploadHistory &history, UploaderFactory makeAccountUploader, QObject *parent)
    : QObject(parent)
    , m_history(history)
    , m_makeAccountUploader(std::move(makeAccountUploader))
{
}

void UploadRemoval::remove(const UploadRecord &record, Completion done)
{
    Result<std::unique_ptr<Uploader>> made = m_makeAccountUploader();
    if (!made) {
        // Later, as every other answer: a caller never sees its completion run inside remove().
        QTimer::singleShot(0, this, [done = std::move(done), error = made.error()]() { done(error); });
        return;
    }
    m_inFlight.push_back(std::move(made).value());
    const auto uploader = std::prev(m_inFlight.end());
    // The request outlives its uploader, so its answer may arrive after this object is gone.
    QPointer<UploadRemoval> guard(this);
    (*uploader)->remove(record.remoteName,
        [this, guard, uploader, id = record.id, done = std::move(done)](const Result<void> &removed) {
            if (!guard)
                return;
            if (removed)
                m_history.remove(id);
            // Not from inside the uploader's own completion.
            QTimer::singleShot(0, this, [this, uploader]() { m_inFlight.erase(uploader); });
            done(removed);
        });
}
