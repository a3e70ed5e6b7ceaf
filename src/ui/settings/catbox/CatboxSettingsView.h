#pragma once

#include "Clipboard.h"
#include "Result.h"
#include "SecretStore.h"
#include "UploadHistory.h"
#include "UploadRemoval.h"
#include "Uploader.h"

#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

// The Catbox pane of the settings: the optional account, a test upload and the recent uploads.
class CatboxSettingsView : public QWidget
{
    Q_OBJECT

public:
    struct Services
    {
        SecretStore &secrets;
        // None in a process without capture services: the history part then stays empty and off.
        UploadHistory *history = nullptr;
        UploadRemoval *removal = nullptr;
        // An uploader for one operation, with the userhash given or anonymous.
        std::function<Result<std::unique_ptr<Uploader>>(std::optional<QString> userhash)> makeUploader;
        Clipboard &clipboard;
        // Where the test upload's picture is written, and removed again.
        QString temporaryFolder;
    };

    explicit CatboxSettingsView(Services services, QWidget *parent = nullptr);
};
