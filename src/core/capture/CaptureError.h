#pragma once

#include "Error.h"

// Why a capture found nothing to capture. Platform failures are not among these: they pass
// through with their own message.
enum class CaptureError { displayNotFound, windowNotFound, emptySelection };

QString description(CaptureError error);
Error toError(CaptureError error);
