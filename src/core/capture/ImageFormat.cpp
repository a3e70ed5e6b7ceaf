#include "ImageFormat.h"

QString rawValue(ImageFormat format)
{
    for (const auto &[value, raw] : imageFormatRawValues) {
        if (value == format)
            return raw;
    }
    return {};
}

std::optional<ImageFormat> imageFormatFromRaw(const QString &raw)
{
    for (const auto &[value, rawText] : imageFormatRawValues) {
        if (raw == rawText)
            return value;
    }
    return std::nullopt;
}

QString fileExtension(ImageFormat format)
{
    return format == ImageFormat::jpeg ? QStringLiteral("jpg") : QStringLiteral("png");
}
