#include "CatboxUploader.h"

#include "UploadError.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace {

// The size as the file system has it now; a file that cannot be examined fails in the
// system's own words before anything is written or sent.
Result<qint64> fileSize(const QString &path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return Error{QString::fromLocal8Bit(std::strerror(errno)), QLatin1String("stat ") + path};
    return qint64(info.st_size);
}

Error transportError(const QNetworkReply &reply)
{
    // Qt reports its own transfer time-out as a cancellation; nothing else here cancels.
    const bool timedOut
        = reply.error() == QNetworkReply::OperationCanceledError || reply.error() == QNetworkReply::TimeoutError;
    const QString message = timedOut ? QStringLiteral("The request timed out.") : reply.errorString();
    return Error{message, QStringLiteral("network error %1").arg(int(reply.error()))};
}

} // namespace

CatboxUploader::CatboxUploader(QNetworkAccessManager &network, std::optional<QString> userhash, Options options)
    : m_network(network)
    , m_userhash(std::move(userhash))
    , m_options(std::move(options))
{
}

void CatboxUploader::upload(const QString &filePath, Progress progress, UploadCompletion completion)
{
    const Result<qint64> size = fileSize(filePath);
    if (!size) {
        completion(size.error());
        return;
    }
    if (Result<void> allowed = CatboxProtocol::checkSize(*size); !allowed) {
        completion(allowed.error());
        return;
    }
    const bool deletable = m_userhash.has_value();
    send(CatboxProtocol::uploadFields(m_userhash),
        FilePart{QLatin1String(CatboxProtocol::fileField), filePath, &CatboxProtocol::checkSize}, progress,
        [deletable, completion = std::move(completion)](const Result<CatboxProtocol::Answer> &answer) {
            if (!answer)
                completion(answer.error());
            else
                completion(CatboxProtocol::readUploadAnswer(*answer, deletable));
        });
}

void CatboxUploader::remove(const QString &remoteName, RemoveCompletion completion)
{
    if (!m_userhash) {
        completion(UploadError::deletionUnavailable(CatboxProtocol::hostName()).toError());
        return;
    }
    send(CatboxProtocol::deleteFields(*m_userhash, remoteName), std::nullopt, {},
        [completion = std::move(completion)](const Result<CatboxProtocol::Answer> &answer) {
            if (!answer)
                completion(answer.error());
            else
                completion(CatboxProtocol::readDeleteAnswer(*answer));
        });
}

void CatboxUploader::send(const QList<FormField> &fields, const std::optional<FilePart> &file, const Progress &progress,
    AnswerCompletion completion)
{
    const MultipartBody multipart(MultipartBody::newBoundary());
    const Result<QString> bodyPath = multipart.write(fields, file, m_options.bodyDirectory);
    if (!bodyPath) {
        completion(bodyPath.error());
        return;
    }
    TemporaryFiles *temporaries = m_options.temporaries;
    if (temporaries)
        temporaries->add(*bodyPath);
    auto *body = new QFile(*bodyPath);
    if (!body->open(QIODevice::ReadOnly)) {
        const Error error{body->errorString(), QLatin1String("open ") + *bodyPath};
        delete body;
        QFile::remove(*bodyPath);
        if (temporaries)
            temporaries->forget(*bodyPath);
        completion(error);
        return;
    }

    QNetworkRequest request(m_options.endpoint);
    request.setHeader(QNetworkRequest::ContentTypeHeader, multipart.contentType());
    request.setHeader(QNetworkRequest::UserAgentHeader, CatboxProtocol::userAgent());
    request.setTransferTimeout(int(m_options.timeout.count()));
    // The body is streamed from its file: Qt reads it as the socket drains.
    QNetworkReply *reply = m_network.post(request, body);
    body->setParent(reply);

    if (progress) {
        QObject::connect(reply, &QNetworkReply::uploadProgress, reply, [progress](qint64 sent, qint64 total) {
            if (total >= 1)
                progress(double(sent) / double(total));
        });
    }
    QObject::connect(
        reply, &QNetworkReply::finished, reply, [reply, body, temporaries, completion = std::move(completion)]() {
            // However the request ended, its body goes now.
            body->close();
            body->remove();
            if (temporaries)
                temporaries->forget(body->fileName());
            reply->deleteLater();

            const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
            if (!status.isValid()) {
                completion(transportError(*reply));
                return;
            }
            completion(CatboxProtocol::Answer{status.toInt(), reply->rawHeader("Retry-After"), reply->readAll()});
        });
}
