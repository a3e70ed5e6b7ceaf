#pragma once

#include "DeliveryOutcome.h"
#include "Error.h"

#include <QByteArray>

// How one screenshot request ended.
struct ScreenshotOutcome
{
    enum class Kind {
        delivered, // `delivery` says what became of it
        encoded, // `encoded` holds the file for the caller (an output path of "-")
        cancelled, // the user closed the selection, or another request closed it
        unavailable, // the screen cannot be read at all: `error` says why
        permissionMissing, // the system has not allowed Qorvel to read the screen
        failed, // capture or encoding failed: `error`, in the user's words
    };

    Kind kind = Kind::cancelled;
    DeliveryOutcome delivery;
    QByteArray encoded;
    Error error;
};
