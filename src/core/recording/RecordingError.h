#pragma once

#include "Error.h"

// Why a recording failed, in the words the user reads.
enum class RecordingError { writerFailed, empty, targetNotFound };

// "Couldn't write the video: " + `message` for writerFailed; `message` is ignored otherwise.
QString description(RecordingError error, const QString &message = {});
Error toError(RecordingError error, const QString &message = {}, const QString &detail = {});
