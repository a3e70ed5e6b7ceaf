#pragma once

// What the FFmpeg parts of the media module share: owners for the library's objects and its
// error reporting.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <QString>

#include <memory>

struct FormatCloser
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
struct CodecFreer
{
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};
struct PacketFreer
{
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
struct FrameFreer
{
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
struct ScalerFreer
{
    void operator()(SwsContext *context) const { sws_freeContext(context); }
};
// An output context, with the I/O it was given (its own or a custom one).
struct OutputCloser
{
    void operator()(AVFormatContext *context) const;
};
using FormatPtr = std::unique_ptr<AVFormatContext, FormatCloser>;
using OutputPtr = std::unique_ptr<AVFormatContext, OutputCloser>;
using CodecPtr = std::unique_ptr<AVCodecContext, CodecFreer>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;
using FramePtr = std::unique_ptr<AVFrame, FrameFreer>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerFreer>;

struct Options
{
    AVDictionary *entries = nullptr;
    ~Options() { av_dict_free(&entries); }
};

// FFmpeg writes its complaints to stderr, where nobody reads them, and often says more there
// than its return codes do ("moov atom not found" behind "Invalid data"). Once this is called,
// the last error of each thread's calls is kept for lastLibraryError() instead; everything
// milder is dropped. The callback is process-wide, so it covers every FFmpeg user in Qorvel.
void quietLibraryLogging();
// The last error FFmpeg logged on this thread since clearLibraryError().
QString lastLibraryError();
void clearLibraryError();
// av_strerror's text for `code`.
QString libraryErrorText(int code);
