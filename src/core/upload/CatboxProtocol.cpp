#include "CatboxProtocol.h"

#include "UploadError.h"
#include "Version.h"

#include <QStringDecoder>
#include <QTextBoundaryFinder>

namespace {

const QString catboxDomain = QStringLiteral("catbox.moe");
constexpr qsizetype messageLength = 200;

bool isLoopback(const QString &host)
{
    if (host == QLatin1String("localhost") || host == QLatin1String("::1"))
        return true;
    const QStringList parts = host.split(QLatin1Char('.'));
    if (parts.size() != 4 || parts.first() != QLatin1String("127"))
        return false;
    for (const QString &part : parts) {
        bool number = false;
        const int value = part.toInt(&number);
        if (!number || value < 0 || value > 255)
            return false;
    }
    return true;
}

// The first characters as a reader counts them: an emoji or an accented letter is never cut
// in half.
QString firstCharacters(const QString &text, qsizetype count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype seen = 0;
    while (seen < count && finder.toNextBoundary() != -1)
        ++seen;
    return seen < count ? text : text.left(finder.position());
}

} // namespace

QUrl CatboxProtocol::productionEndpoint()
{
    return QUrl(QStringLiteral("https://catbox.moe/user/api.php"));
}

Result<QUrl> CatboxProtocol::endpoint(const QString &override)
{
    if (override.isEmpty())
        return productionEndpoint();
    const QUrl url(override, QUrl::StrictMode);
    const bool secure = url.scheme() == QLatin1String("https") && !url.host().isEmpty();
    const bool local = url.scheme() == QLatin1String("http") && isLoopback(url.host());
    if (!url.isValid() || !(secure || local))
        return Error{QStringLiteral("QORVEL_CATBOX_ENDPOINT must be an https address, or http on the loopback "
                                    "address; uploads are off until it is."),
            override};
    return url;
}

QByteArray CatboxProtocol::userAgent()
{
    return QByteArray("Qorvel/") + qorvelVersion + " (Linux)";
}

Result<void> CatboxProtocol::checkSize(qint64 size)
{
    if (size > sizeLimit)
        return UploadError::fileTooLarge(size, sizeLimit, hostName()).toError();
    return {};
}

QList<FormField> CatboxProtocol::uploadFields(const std::optional<QString> &userhash)
{
    QList<FormField> fields{{QStringLiteral("reqtype"), QStringLiteral("fileupload")}};
    // An anonymous upload sends no userhash field at all: an empty one is not the same.
    if (userhash)
        fields.append({QStringLiteral("userhash"), *userhash});
    return fields;
}

QList<FormField> CatboxProtocol::deleteFields(const QString &userhash, const QString &remoteName)
{
    return {{QStringLiteral("reqtype"), QStringLiteral("deletefiles")}, {QStringLiteral("userhash"), userhash},
        {QStringLiteral("files"), remoteName}};
}

QString CatboxProtocol::bodyText(const QByteArray &body)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(body);
    return text.trimmed();
}

std::optional<qint64> CatboxProtocol::retryAfterSeconds(const QByteArray &value)
{
    qsizetype digitsFrom = 0;
    if (!value.isEmpty() && (value.front() == '+' || value.front() == '-'))
        digitsFrom = 1;
    if (value.size() == digitsFrom)
        return std::nullopt;
    for (qsizetype i = digitsFrom; i < value.size(); ++i) {
        if (value[i] < '0' || value[i] > '9')
            return std::nullopt;
    }
    bool fits = false;
    const qint64 seconds = value.toLongLong(&fits, 10);
    if (!fits)
        return std::nullopt;
    return seconds;
}

std::optional<QUrl> CatboxProtocol::validLink(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != QLatin1String("https"))
        return std::nullopt;
    const QString host = url.host();
    // By domain, not by text: "files.catbox.moe" passes, "notcatbox.moe" does not.
    if (host != catboxDomain && !host.endsWith(QLatin1Char('.') + catboxDomain))
        return std::nullopt;
    if (url.fileName().isEmpty())
        return std::nullopt;
    return url;
}

Result<void> CatboxProtocol::checkStatus(const Answer &answer, const QString &text)
{
    if (answer.status == 0)
        return UploadError::invalidResponse(hostName()).toError();
    if (answer.status == 429)
        return UploadError::rateLimited(retryAfterSeconds(answer.retryAfter), hostName()).toError();
    if (answer.status != 200)
        return UploadError::rejected(answer.status, firstCharacters(text, messageLength), hostName()).toError();
    return {};
}

Result<UploadResult> CatboxProtocol::readUploadAnswer(const Answer &answer, bool deletable)
{
    const QString text = bodyText(answer.body);
    if (Result<void> status = checkStatus(answer, text); !status)
        return status.error();
    const std::optional<QUrl> link = validLink(text);
    if (!link)
        return UploadError::invalidResponse(hostName()).toError();
    return UploadResult{*link, link->fileName(), deletable};
}

Result<void> CatboxProtocol::readDeleteAnswer(const Answer &answer)
{
    const QString text = bodyText(answer.body);
    if (Result<void> status = checkStatus(answer, text); !status)
        return status;
    if (!text.contains(QLatin1String("success"), Qt::CaseInsensitive))
        return UploadError::rejected(200, firstCharacters(text, messageLength), hostName()).toError();
    return {};
}
