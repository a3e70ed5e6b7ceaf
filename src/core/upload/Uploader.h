#pragma once

#include "Result.h"
#include "UploadResult.h"

#include <QString>

#include <functional>

// Sends finished captures to a file host and takes them down again. Both calls return at
// once; the completion runs later on the caller's thread, exactly once. Several operations
// may run at the same time.
class Uploader
{
public:
    using Progress = std::function<void(double fraction)>;
    using UploadCompletion = std::function<void(Result<UploadResult>)>;
    using RemoveCompletion = std::function<void(Result<void>)>;

    virtual ~Uploader() = default;

    virtual void upload(const QString &filePath, Progress progress, UploadCompletion completion) = 0;
    // Deletes a file uploaded earlier, by its name on the host.
    virtual void remove(const QString &remoteName, RemoveCompletion completion) = 0;
};
