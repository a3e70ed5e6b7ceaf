#include "DeliveryOutcome.h"

#include <QFileInfo>

namespace {

QString savedLine(const QString &path)
{
    return QLatin1String("Saved: ") + QFileInfo(path).fileName();
}

} // namespace

NotificationRequest DeliveryOutcome::notification() const
{
    const bool image = kind == UploadKind::image;
    const QString noun = image ? QStringLiteral("Screenshot") : QStringLiteral("Recording");
    NotificationRequest request;

    if (saveError && !uploadRan) {
        request.title = QStringLiteral("Couldn't save the file");
        request.body = saveError->message;
        request.failure = true;
        return request;
    }

    if (uploaded()) {
        request.title = noun + QLatin1String(" uploaded, link copied");
        request.body = link->toString();
        if (saved() && saveWasOn)
            request.body += QLatin1Char('\n') + savedLine(savedPath);
        request.action = NotificationAction::openUrl(*link);
        return request;
    }

    if (uploadRan) {
        QStringList lines{uploadError};
        if (copied)
            lines << (image ? QStringLiteral("The image was copied to the clipboard.")
                            : QStringLiteral("The file was copied to the clipboard."));
        if (saved())
            lines << (saveWasOn ? savedLine(savedPath) : QLatin1String("Saved as a fallback: ") + savedPath);
        request.title = QStringLiteral("Upload failed");
        request.body = lines.join(QLatin1Char('\n'));
        if (saved())
            request.action = NotificationAction::revealFile(savedPath);
        request.failure = true;
        return request;
    }

    if (saved()) {
        request.title = noun + (copied ? QLatin1String(" saved and copied") : QLatin1String(" saved"));
        request.body = savedLine(savedPath);
        request.action = NotificationAction::revealFile(savedPath);
    } else {
        request.title = noun + (copied ? QLatin1String(" copied to clipboard") : QLatin1String(" ready"));
    }
    return request;
}
