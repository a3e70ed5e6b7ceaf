#include "RecordingError.h"

QString description(RecordingError error, const QString &message)
{
    switch (error) {
    case RecordingError::writerFailed:
        return QStringLiteral("Couldn't write the video: ") + message;
    case RecordingError::empty:
        return QStringLiteral("The recording contains no frames.");
    case RecordingError::targetNotFound:
        return QStringLiteral("The display or window being recorded no longer exists.");
    }
    return {};
}

Error toError(RecordingError error, const QString &message, const QString &detail)
{
    return Error{description(error, message), detail};
}
