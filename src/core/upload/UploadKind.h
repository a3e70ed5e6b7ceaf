#pragma once

#include <QString>

#include <optional>

// What was uploaded; the raw values are stored in the upload history.
enum class UploadKind { image, video };

QString rawValue(UploadKind kind);
std::optional<UploadKind> uploadKindFromRawValue(const QString &raw);
