#pragma once

#include "Result.h"
#include "SecretStore.h"
#include "UploadResult.h"
#include "Uploader.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QLabel;
class QPushButton;

// Tries the whole road to Catbox with a small picture of its own, and with the account when
// one is stored, so that a wrong userhash shows up here rather than at the next capture. The
// test file never enters the upload history.
class CatboxTestUploadRow : public QWidget
{
    Q_OBJECT

public:
    using UploaderFactory = std::function<Result<std::unique_ptr<Uploader>>(std::optional<QString> userhash)>;

    CatboxTestUploadRow(
        SecretStore &secrets, UploaderFactory makeUploader, QString temporaryFolder, QWidget *parent = nullptr);

private:
    void start();
    Result<QString> writeTestImage() const;
    void uploaded(const Result<UploadResult> &result);
    void finish(const QString &text);

    SecretStore &m_secrets;
    UploaderFactory m_makeUploader;
    QString m_temporaryFolder;
    // The uploader of the test under way; kept after it so as not to go inside its own completion.
    std::unique_ptr<Uploader> m_uploader;
    QPushButton *m_button = nullptr;
    QLabel *m_result = nullptr;
};
