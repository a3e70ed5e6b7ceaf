#include "InstanceChannel.h"

QString rawValue(InstanceRequest request)
{
    switch (request) {
    case InstanceRequest::reopen:
        return QStringLiteral("reopen");
    }
    return {};
}

std::optional<InstanceRequest> instanceRequestFromRaw(const QString &raw)
{
    if (raw == QLatin1String("reopen"))
        return InstanceRequest::reopen;
    return std::nullopt;
}
