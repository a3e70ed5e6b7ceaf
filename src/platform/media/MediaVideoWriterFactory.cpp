#include "MediaVideoWriterFactory.h"

#include "LoadableModule.h"
#include "RecordingError.h"

namespace {

Result<QFunctionPointer> mediaEntry(const char *symbol)
{
    return LoadableModule::entry(QStringLiteral("libqorvel-media.so"), symbol);
}

} // namespace

Result<std::unique_ptr<VideoFileWriter>> MediaVideoWriterFactory::open(
    const QString &path, const VideoEncodingPlan &plan)
{
    using Open = Result<std::unique_ptr<VideoFileWriter>> (*)(const QString &, const VideoEncodingPlan &);
    static const Result<QFunctionPointer> entry = mediaEntry("qorvelMediaOpenVideoWriter");
    if (!entry)
        return toError(RecordingError::writerFailed, entry.error().message, entry.error().detail);
    return reinterpret_cast<Open>(*entry)(path, plan);
}

Result<void> MediaVideoWriterFactory::recover(const QString &path)
{
    using Recover = Result<void> (*)(const QString &);
    static const Result<QFunctionPointer> entry = mediaEntry("qorvelMediaRecoverRecording");
    if (!entry)
        return toError(RecordingError::writerFailed, entry.error().message, entry.error().detail);
    return reinterpret_cast<Recover>(*entry)(path);
}
