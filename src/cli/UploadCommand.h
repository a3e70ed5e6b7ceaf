#pragma once

#include "CommandLine.h"
#include "Result.h"
#include "Uploader.h"

#include <QTextStream>

#include <functional>
#include <memory>
#include <optional>

class SecretStore;
class UploadHistory;

// `qorvel upload FILE...`: each file in turn, its link printed as soon as it is known, every
// success kept in the upload history. One failure does not stop the files after it.
class UploadCommand
{
public:
    using UploaderFactory = std::function<Result<std::unique_ptr<Uploader>>(std::optional<QString> userhash)>;

    UploadCommand(UploaderFactory makeUploader, SecretStore &secrets, UploadHistory &history);

    // `progress` is where a progress bar is drawn, or null for none.
    int run(const UploadOptions &options, QTextStream &output, QTextStream &errors, QTextStream *progress);

private:
    UploaderFactory m_makeUploader;
    SecretStore &m_secrets;
    UploadHistory &m_history;
};
