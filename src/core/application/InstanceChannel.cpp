#include "InstanceChannel.h"

#include <array>
#include <utility>

namespace {

const std::array<std::pair<InstanceRequest, QLatin1String>, 4> requestRawValues{{
    {InstanceRequest::reopen, QLatin1String("reopen")},
    {InstanceRequest::takeScreenshot, QLatin1String("takeScreenshot")},
    {InstanceRequest::toggleRecording, QLatin1String("toggleRecording")},
    {InstanceRequest::showSettings, QLatin1String("showSettings")},
}};

} // namespace

QString rawValue(InstanceRequest request)
{
    for (const auto &[value, raw] : requestRawValues) {
        if (value == request)
            return raw;
    }
    return {};
}

std::optional<InstanceRequest> instanceRequestFromRaw(const QString &raw)
{
    for (const auto &[value, rawText] : requestRawValues) {
        if (rawText == raw)
            return value;
    }
    return std::nullopt;
}
