#pragma once

#include "MultipartBody.h"
#include "Result.h"
#include "UploadResult.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>

// What is sent to Catbox and how its answers are read; the HTTP transport lives elsewhere.
class CatboxProtocol
{
public:
    // Decimal megabytes: a 200 MiB file is already too large.
    static constexpr qint64 sizeLimit = 200'000'000;
    static constexpr char fileField[] = "fileToUpload";

    static QString hostName() { return QStringLiteral("Catbox"); }
    static QUrl productionEndpoint();
    // The endpoint to use: the production one, unless the environment's override names an
    // https address or plain http on the loopback address. Anything else is refused, so that
    // a userhash never travels in clear to another machine.
    static Result<QUrl> endpoint(const QString &override);
    static QByteArray userAgent();

    // Catbox refuses files over the limit; checked before anything is written or sent.
    static Result<void> checkSize(qint64 size);

    static QList<FormField> uploadFields(const std::optional<QString> &userhash);
    static QList<FormField> deleteFields(const QString &userhash, const QString &remoteName);

    // An HTTP answer as the transport saw it; status 0 when there was no HTTP response.
    struct Answer
    {
        int status = 0;
        QByteArray retryAfter;
        QByteArray body;
    };

    static Result<UploadResult> readUploadAnswer(const Answer &answer, bool deletable);
    static Result<void> readDeleteAnswer(const Answer &answer);

    // The body as text: invalid UTF-8 repaired, never refused, white space trimmed.
    static QString bodyText(const QByteArray &body);
    // Whole seconds only: an HTTP date, a fraction or an overflow give none.
    static std::optional<qint64> retryAfterSeconds(const QByteArray &value);
    // The link Catbox answered with, when it is an https link to a file on Catbox.
    static std::optional<QUrl> validLink(const QString &text);

private:
    static Result<void> checkStatus(const Answer &answer, const QString &text);
};
