#include "UploadKind.h"

QString rawValue(UploadKind kind)
{
    return kind == UploadKind::image ? QStringLiteral("image") : QStringLiteral("video");
}

std::optional<UploadKind> uploadKindFromRawValue(const QString &raw)
{
    if (raw == QLatin1String("image"))
        return UploadKind::image;
    if (raw == QLatin1String("video"))
        return UploadKind::video;
    return std::nullopt;
}
