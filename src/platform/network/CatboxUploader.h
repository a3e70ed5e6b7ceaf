#pragma once

#include "CatboxProtocol.h"
#include "TemporaryFiles.h"
#include "Uploader.h"

#include <QUrl>

#include <chrono>
#include <optional>

class QNetworkAccessManager;

// Catbox over HTTP. A value made afresh for each operation with the userhash of the moment;
// the requests it starts carry what they need and outlive it. The network manager must
// outlive every request.
class CatboxUploader : public Uploader
{
public:
    struct Options
    {
        QUrl endpoint = CatboxProtocol::productionEndpoint();
        // Without data moving for this long a request gives up.
        std::chrono::milliseconds timeout = std::chrono::seconds(120);
        // Where request bodies are written; the system's temporary folder when empty.
        QString bodyDirectory;
        // Where bodies are listed while they exist; none lists them nowhere.
        TemporaryFiles *temporaries = nullptr;
    };

    CatboxUploader(QNetworkAccessManager &network, std::optional<QString> userhash, Options options);

    void upload(const QString &filePath, Progress progress, UploadCompletion completion) override;
    void remove(const QString &remoteName, RemoveCompletion completion) override;

private:
    using AnswerCompletion = std::function<void(Result<CatboxProtocol::Answer>)>;
    void send(const QList<FormField> &fields, const std::optional<FilePart> &file, const Progress &progress,
        AnswerCompletion completion);

    QNetworkAccessManager &m_network;
    std::optional<QString> m_userhash;
    Options m_options;
};
