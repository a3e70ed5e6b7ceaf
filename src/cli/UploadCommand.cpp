#include "UploadCommand.h"

#include "ErrorOutput.h"
#include "MultipartBody.h"
#include "SecretStore.h"
#include "TerminalText.h"
#include "UploadHistory.h"

#include <QDateTime>
#include <QEventLoop>
#include <QFileInfo>

namespace {

UploadKind kindOf(const QString &path)
{
    return MultipartBody::contentType(path).startsWith(QLatin1String("video/")) ? UploadKind::video : UploadKind::image;
}

// One line redrawn in place; only whole-percent changes are drawn, so a fast upload on a
// slow terminal is not held up by its own progress bar.
class ProgressBar
{
public:
    ProgressBar(QTextStream *stream, const QString &name)
        : m_stream(stream)
        , m_name(name)
    {
    }
    ~ProgressBar()
    {
        if (m_stream && m_drawn)
            *m_stream << "\r\033[K" << Qt::flush;
    }
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    void show(double fraction)
    {
        const int percent = int(fraction * 100.0);
        if (!m_stream || percent == m_percent)
            return;
        m_percent = percent;
        m_drawn = true;
        constexpr int width = 30;
        const int filled = percent * width / 100;
        *m_stream << '\r' << m_name << " [" << QString(filled, QLatin1Char('#'))
                  << QString(width - filled, QLatin1Char('-')) << "] " << percent << '%' << Qt::flush;
    }

private:
    QTextStream *m_stream;
    QString m_name;
    int m_percent = -1;
    bool m_drawn = false;
};

} // namespace

UploadCommand::UploadCommand(UploaderFactory makeUploader, SecretStore &secrets, UploadHistory &history)
    : m_makeUploader(std::move(makeUploader))
    , m_secrets(secrets)
    , m_history(history)
{
}

int UploadCommand::run(const UploadOptions &options, QTextStream &output, QTextStream &errors, QTextStream *progress)
{
    const std::optional<QString> userhash = options.anonymous ? std::nullopt : readUserhash(m_secrets);
    int status = 0;
    for (const QString &path : options.files) {
        Result<std::unique_ptr<Uploader>> uploader = m_makeUploader(userhash);
        if (!uploader) {
            return printError(errors, uploader.error().message);
        }

        std::optional<Result<UploadResult>> result;
        QEventLoop loop;
        {
            ProgressBar bar(progress, printableText(QFileInfo(path).fileName()));
            (*uploader)->upload(
                path, [&bar](double fraction) { bar.show(fraction); },
                [&result, &loop](Result<UploadResult> done) {
                    result = std::move(done);
                    loop.quit();
                });
            if (!result)
                loop.exec();
        }

        if (!result->ok()) {
            status = printError(errors, path + QLatin1String(": ") + result->error().message);
            continue;
        }
        m_history.add(UploadRecord::fromResult(**result, kindOf(path), QDateTime::currentDateTimeUtc()));
        output << printableText((*result)->url.toString()) << '\n' << Qt::flush;
    }
    return status;
}
