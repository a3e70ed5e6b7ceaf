#include "FfmpegSupport.h"

#include <cstdarg>
#include <mutex>

namespace {

thread_local QString lastError;

void keepLibraryError(void *object, int level, const char *format, va_list arguments)
{
    if (level > AV_LOG_ERROR)
        return;
    char line[512];
    int printPrefix = 0; // the "[mov @ 0x...]" context means nothing to a reader of the detail
    av_log_format_line2(object, level, format, arguments, line, sizeof line, &printPrefix);
    lastError = QString::fromUtf8(line).trimmed();
}

} // namespace

void OutputCloser::operator()(AVFormatContext *output) const
{
    if (output->pb && (output->flags & AVFMT_FLAG_CUSTOM_IO)) {
        av_freep(&output->pb->buffer);
        avio_context_free(&output->pb);
    } else if (output->pb) {
        avio_closep(&output->pb);
    }
    avformat_free_context(output);
}

void quietLibraryLogging()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(keepLibraryError); });
}

QString lastLibraryError()
{
    return lastError;
}

void clearLibraryError()
{
    lastError.clear();
}

QString libraryErrorText(int code)
{
    char reason[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, reason, sizeof reason);
    return QString::fromUtf8(reason);
}
