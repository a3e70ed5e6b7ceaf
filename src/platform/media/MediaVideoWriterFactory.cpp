#include "MediaVideoWriterFactory.h"

#include "LoadableModule.h"
#include "RecordingError.h"

Result<std::unique_ptr<VideoFileWriter>> MediaVideoWriterFactory::open(
    const QString &path, const VideoEncodingPlan &plan)
{
    using Open = Result<std::unique_ptr<VideoFileWriter>> (*)(const QString &, const VideoEncodingPlan &);
    static const Result<QFunctionPointer> entry
        = LoadableModule::entry(QStringLiteral("libqorvel-media.so"), "qorvelMediaOpenVideoWriter");
    if (!entry)
        return toError(RecordingError::writerFailed, entry.error().message, entry.error().detail);
    return reinterpret_cast<Open>(*entry)(path, plan);
}
