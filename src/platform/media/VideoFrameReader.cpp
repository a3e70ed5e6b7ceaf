#include "VideoFrameReader.h"

#include "LoadableModule.h"

#include <mutex>

namespace {

using FirstFrame = Result<Bitmap> (*)(const QString &, QSize);

// FFmpeg keeps state for the life of the process: the module is loaded once and kept.
const Result<QFunctionPointer> &firstFrameEntry()
{
    static Result<QFunctionPointer> entry = Error{};
    static std::once_flag once;
    std::call_once(
        once, [] { entry = LoadableModule::entry(QStringLiteral("libqorvel-media.so"), "qorvelMediaFirstFrame"); });
    return entry;
}

} // namespace

Result<Bitmap> VideoFrameReader::firstFrame(const QString &path, QSize maxSize)
{
    const Result<QFunctionPointer> &entry = firstFrameEntry();
    if (!entry)
        return Error{QStringLiteral("Couldn't read the recording's first frame."), entry.error().detail};
    return reinterpret_cast<FirstFrame>(*entry)(path, maxSize);
}
