#include "CaptureError.h"

QString description(CaptureError error)
{
    switch (error) {
    case CaptureError::displayNotFound:
        return QStringLiteral("Display not found. It may have been disconnected during the selection.");
    case CaptureError::windowNotFound:
        return QStringLiteral("The window was closed or hidden during the selection.");
    case CaptureError::emptySelection:
        return QStringLiteral("The selected area is empty.");
    }
    return {};
}

Error toError(CaptureError error)
{
    return Error{description(error), {}};
}
