#pragma once

#include <QLatin1String>
#include <QString>

#include <array>
#include <optional>
#include <utility>

// The file format of screenshots, stored in the preferences by its raw value.
enum class ImageFormat { png, jpeg };

inline constexpr std::array<std::pair<ImageFormat, QLatin1String>, 2> imageFormatRawValues = {{
    {ImageFormat::png, QLatin1String("png")},
    {ImageFormat::jpeg, QLatin1String("jpeg")},
}};

QString rawValue(ImageFormat format);
std::optional<ImageFormat> imageFormatFromRaw(const QString &raw);
// Saved files always get a three-letter extension: "png" or "jpg".
QString fileExtension(ImageFormat format);
