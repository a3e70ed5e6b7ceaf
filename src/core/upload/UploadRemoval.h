#pragma once

#include "Result.h"
#include "UploadHistory.h"
#include "UploadRecord.h"
#include "Uploader.h"

#include <QObject>

#include <functional>
#include <list>
#include <memory>

// Takes uploads down from their host and then out of the history: the one way the tray menu
// and the settings delete a file. Each deletion gets an uploader of its own, made with the
// userhash stored at that moment.
class UploadRemoval : public QObject
{
    Q_OBJECT

public:
    using UploaderFactory = std::function<Result<std::unique_ptr<Uploader>>()>;
    using Completion = std::function<void(Result<void>)>;

    UploadRemoval(UploadHistory &history, UploaderFactory makeAccountUploader, QObject *parent = nullptr);

    // Returns at once; `done` runs later on this thread, after the history has lost the record
    // when the host agreed. Answers still on their way when this object goes are dropped.
    void remove(const UploadRecord &record, Completion done);
    // Whether an answer is still on its way.
    bool isBusy() const { return !m_inFlight.empty(); }

private:
    UploadHistory &m_history;
    UploaderFactory m_makeAccountUploader;
    // Each uploader lives until its answer has come.
    std::list<std::unique_ptr<Uploader>> m_inFlight;
};
