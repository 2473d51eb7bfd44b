#include "library/MediaProbe.h"

#include "library/LocalPath.h"

#include <QTransform>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/mem.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

namespace {

// Two slice threads. Frame threads would cost more to set up (a decoder context per thread)
// than they save on the few frames decoded here; several thumbnails are made at once anyway.
constexpr int kDecoderThreads = 2;
// A frame up to this long after the requested time is as good as one at it.
constexpr double kToleranceAfterSeconds = 2.0;

struct FormatCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct CodecFreer {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameFreer {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketFreer {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct ScalerFreer {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using FormatPtr = std::unique_ptr<AVFormatContext, FormatCloser>;
using CodecPtr = std::unique_ptr<AVCodecContext, CodecFreer>;
using FramePtr = std::unique_ptr<AVFrame, FrameFreer>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerFreer>;

QString errorText(int code) {
    char buffer[AV_ERROR_MAX_STRING_SIZE] = {};
    if (av_strerror(code, buffer, sizeof buffer) < 0)
        return QStringLiteral("Error %1").arg(code);
    return QString::fromUtf8(buffer);
}

void setError(QString* error, const QString& text) {
    if (error)
        *error = text;
}

// The first real video stream; cover art attached to audio files doesn't count.
int firstVideoStream(const AVFormatContext* format) {
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
            !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC))
            return static_cast<int>(i);
    }
    return -1;
}

double durationSeconds(const AVFormatContext* format) {
    if (format->duration != AV_NOPTS_VALUE && format->duration >= 0)
        return static_cast<double>(format->duration) / AV_TIME_BASE;
    double longest = std::numeric_limits<double>::quiet_NaN();
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        if (stream->duration == AV_NOPTS_VALUE || stream->duration < 0)
            continue;
        const double seconds = static_cast<double>(stream->duration) * av_q2d(stream->time_base);
        if (std::isfinite(seconds) && !(seconds <= longest))
            longest = seconds;
    }
    return longest;
}

// Containers with a header (MP4, Matroska, ...) tell streams, sizes and durations without
// decoding anything; only the others need the slower look at their first packets.
bool needsStreamInfo(const AVFormatContext* format) {
    if ((format->ctx_flags & AVFMTCTX_NOHEADER) || format->nb_streams == 0)
        return true;
    if (std::isnan(durationSeconds(format)))
        return true;
    const int video = firstVideoStream(format);
    if (video < 0)
        return false;
    const AVCodecParameters* parameters = format->streams[video]->codecpar;
    return parameters->codec_id == AV_CODEC_ID_NONE || parameters->width <= 0 ||
           parameters->height <= 0;
}

FormatPtr openFile(const QString& path, QString* error) {
    // Only local files: a playlist-like file must not make the demuxer reach anywhere else.
    const QByteArray url = QByteArrayLiteral("file:") + LocalPath::toBytes(path);
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext* raw = nullptr;
    int result = avformat_open_input(&raw, url.constData(), nullptr, &options);
    av_dict_free(&options);
    if (result < 0) {
        setError(error, QStringLiteral("The file couldn’t be opened: %1.").arg(errorText(result)));
        return nullptr;
    }
    FormatPtr format(raw);
    if (needsStreamInfo(format.get())) {
        result = avformat_find_stream_info(format.get(), nullptr);
        if (result < 0) {
            setError(error, QStringLiteral("The file’s media data couldn’t be read: %1.")
                                .arg(errorText(result)));
            return nullptr;
        }
    }
    return format;
}

// The display matrix reduced to quarter turns and mirrors, the only orientations cameras and
// editors write: x' = a·x + c·y, y' = b·x + d·y in image coordinates (y down).
struct Orientation {
    int a = 1;
    int b = 0;
    int c = 0;
    int d = 1;

    bool isIdentity() const { return a == 1 && d == 1; }
    bool swapsSides() const { return a == 0; }
    QSize apply(QSize size) const { return swapsSides() ? size.transposed() : size; }
};

int signOf(double value) {
    return value > 0 ? 1 : value < 0 ? -1 : 0;
}

Orientation orientationOf(const AVStream* stream) {
    size_t size = 0;
    const uint8_t* data = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    int32_t matrix[9];
    if (!data || size < sizeof matrix)
        return {};
    std::memcpy(matrix, data, sizeof matrix);
    const double a = matrix[0] / 65536.0;
    const double b = matrix[1] / 65536.0;
    const double c = matrix[3] / 65536.0;
    const double d = matrix[4] / 65536.0;
    Orientation orientation;
    if (std::abs(a) + std::abs(d) >= std::abs(b) + std::abs(c)) {
        orientation = {signOf(a), 0, 0, signOf(d)};
        if (orientation.a == 0 || orientation.d == 0)
            return {};
    } else {
        orientation = {0, signOf(b), signOf(c), 0};
        if (orientation.b == 0 || orientation.c == 0)
            return {};
    }
    return orientation;
}

// Fits size into box keeping its aspect; never enlarges, never below one pixel.
QSize fitted(QSize size, QSize box) {
    if (size.width() <= 0 || size.height() <= 0)
        return {};
    const double scale =
        std::min({1.0, double(box.width()) / size.width(), double(box.height()) / size.height()});
    return QSize(std::max(1, int(std::lround(size.width() * scale))),
                 std::max(1, int(std::lround(size.height() * scale))));
}

// Scales the frame into a fresh 32-bit image (row stride aligned for swscale's vector code),
// then turns it upright. No conversion through an encoded picture.
std::optional<QImage> toImage(const AVFrame* frame, Orientation orientation, QSize maxSize,
                              QString* error) {
    const QSize displayed = fitted(orientation.apply(QSize(frame->width, frame->height)), maxSize);
    if (displayed.isEmpty()) {
        setError(error, QStringLiteral("The video’s frames have no size."));
        return std::nullopt;
    }
    const QSize scaled = orientation.apply(displayed);
    ScalerPtr scaler(sws_getContext(
        frame->width, frame->height, static_cast<AVPixelFormat>(frame->format), scaled.width(),
        scaled.height(), AV_PIX_FMT_RGB32, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scaler) {
        setError(error, QStringLiteral("The video’s pixel format isn’t supported."));
        return std::nullopt;
    }
    const int colorspace =
        frame->colorspace == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT : int(frame->colorspace);
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(colorspace),
                             frame->color_range == AVCOL_RANGE_JPEG,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);

    const int stride = FFALIGN(scaled.width() * 4, 64);
    auto* pixels = static_cast<uchar*>(av_malloc(size_t(stride) * size_t(scaled.height())));
    if (!pixels) {
        setError(error, errorText(AVERROR(ENOMEM)));
        return std::nullopt;
    }
    QImage image(
        pixels, scaled.width(), scaled.height(), stride, QImage::Format_RGB32,
        [](void* data) { av_free(data); }, pixels);
    uint8_t* planes[4] = {pixels, nullptr, nullptr, nullptr};
    int strides[4] = {stride, 0, 0, 0};
    if (sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, planes, strides) <=
        0) {
        setError(error, QStringLiteral("The video’s frame couldn’t be scaled."));
        return std::nullopt;
    }
    if (orientation.isIdentity())
        return image;
    return image.transformed(
        QTransform(orientation.a, orientation.b, orientation.c, orientation.d, 0, 0));
}

int64_t toStreamTime(double seconds, const AVStream* stream) {
    return av_rescale_q(std::llround(seconds * AV_TIME_BASE), AVRational{1, AV_TIME_BASE},
                        stream->time_base);
}

// An opened file with a decoder for its first video stream.
struct VideoSource {
    FormatPtr format;
    CodecPtr decoder;
    AVStream* stream = nullptr;
    int index = -1;
};

std::optional<VideoSource> openVideo(const QString& path, QString* error) {
    VideoSource source;
    source.format = openFile(path, error);
    if (!source.format)
        return std::nullopt;
    source.index = firstVideoStream(source.format.get());
    if (source.index < 0) {
        setError(error, QStringLiteral("The file has no video track."));
        return std::nullopt;
    }
    source.stream = source.format->streams[source.index];
    const AVCodec* codec = avcodec_find_decoder(source.stream->codecpar->codec_id);
    if (!codec) {
        setError(error, QStringLiteral("The video’s format isn’t supported."));
        return std::nullopt;
    }
    source.decoder.reset(avcodec_alloc_context3(codec));
    if (!source.decoder) {
        setError(error, errorText(AVERROR(ENOMEM)));
        return std::nullopt;
    }
    int result = avcodec_parameters_to_context(source.decoder.get(), source.stream->codecpar);
    if (result >= 0) {
        source.decoder->pkt_timebase = source.stream->time_base;
        source.decoder->thread_count = kDecoderThreads;
        source.decoder->thread_type = FF_THREAD_SLICE;
        result = avcodec_open2(source.decoder.get(), codec, nullptr);
    }
    if (result < 0) {
        setError(error,
                 QStringLiteral("The video couldn’t be decoded: %1.").arg(errorText(result)));
        return std::nullopt;
    }
    // Other streams would only be read and thrown away.
    for (unsigned i = 0; i < source.format->nb_streams; ++i) {
        if (int(i) != source.index)
            source.format->streams[i]->discard = AVDISCARD_ALL;
    }
    return source;
}

// Decodes forward from where the file stands to the first frame shown at or after target, or
// the last one before it when that frame comes after latest or never does. Null when no frame
// could be decoded; *readResult tells why reading stopped.
FramePtr decodeFrame(VideoSource& source, int64_t target, int64_t latest, int* readResult) {
    AVCodecContext* decoder = source.decoder.get();
    const PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    FramePtr previous(av_frame_alloc());
    if (!packet || !frame || !previous) {
        *readResult = AVERROR(ENOMEM);
        return nullptr;
    }
    bool havePrevious = false;
    FramePtr chosen;
    // Takes every frame the decoder has ready; true once one is chosen.
    const auto drain = [&] {
        while (avcodec_receive_frame(decoder, frame.get()) >= 0) {
            const int64_t pts = frame->best_effort_timestamp;
            if (pts == AV_NOPTS_VALUE || pts >= target) {
                // Past the tolerance the nearest frame is the one just before the time.
                const bool tooLate = pts != AV_NOPTS_VALUE && pts > latest && havePrevious;
                chosen = std::move(tooLate ? previous : frame);
                return true;
            }
            av_frame_unref(previous.get());
            av_frame_move_ref(previous.get(), frame.get());
            havePrevious = true;
        }
        return false;
    };

    *readResult = 0;
    while (!chosen && (*readResult = av_read_frame(source.format.get(), packet.get())) >= 0) {
        if (packet->stream_index == source.index) {
            // Frames shown before the time only matter as references: those that nothing
            // refers to are not decoded, the others not deblocked (the frame wanted is).
            const bool early = packet->pts != AV_NOPTS_VALUE && packet->pts < target &&
                               !(packet->flags & AV_PKT_FLAG_KEY);
            decoder->skip_frame = early ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
            decoder->skip_loop_filter = early ? AVDISCARD_NONKEY : AVDISCARD_DEFAULT;
            avcodec_send_packet(decoder, packet.get());
            drain();
        }
        av_packet_unref(packet.get());
    }
    if (!chosen) {
        // The end of the file, or a read error: what the decoder still holds, else the last
        // frame before the time.
        decoder->skip_frame = AVDISCARD_DEFAULT;
        decoder->skip_loop_filter = AVDISCARD_DEFAULT;
        avcodec_send_packet(decoder, nullptr);
        if (!drain() && havePrevious)
            chosen = std::move(previous);
    }
    return chosen;
}

} // namespace

std::optional<MediaProbe::Info> MediaProbe::probe(const QString& path, QString* error) {
    const FormatPtr format = openFile(path, error);
    if (!format)
        return std::nullopt;
    Info info;
    info.duration = durationSeconds(format.get());
    const int video = firstVideoStream(format.get());
    info.hasVideo = video >= 0;
    if (info.hasVideo) {
        const AVStream* stream = format->streams[video];
        const QSize coded(stream->codecpar->width, stream->codecpar->height);
        if (coded.width() > 0 && coded.height() > 0)
            info.displaySize = orientationOf(stream).apply(coded);
    }
    return info;
}

std::optional<QImage> MediaProbe::frameAt(const QString& path, double seconds, QSize maxSize,
                                          QString* error) {
    return frameAt(
        path, [seconds](double) { return seconds; }, maxSize, error);
}

std::optional<QImage> MediaProbe::frameAt(const QString& path,
                                          const std::function<double(double)>& timeFor,
                                          QSize maxSize, QString* error) {
    std::optional<VideoSource> source = openVideo(path, error);
    if (!source)
        return std::nullopt;
    double seconds = timeFor(durationSeconds(source->format.get()));
    if (!std::isfinite(seconds) || seconds < 0)
        seconds = 0;
    const AVStream* stream = source->stream;
    const int64_t origin = stream->start_time != AV_NOPTS_VALUE ? stream->start_time : 0;
    const int64_t target = origin + toStreamTime(seconds, stream);
    const int64_t latest = target + toStreamTime(kToleranceAfterSeconds, stream);

    const bool seeks = target > origin;
    if (seeks &&
        av_seek_frame(source->format.get(), source->index, target, AVSEEK_FLAG_BACKWARD) < 0)
        av_seek_frame(source->format.get(), source->index, origin, AVSEEK_FLAG_BACKWARD);
    int readResult = 0;
    FramePtr frame = decodeFrame(*source, target, latest, &readResult);
    if (!frame && seeks) {
        // Streams without an index or timestamps (raw elementary streams) may seek to nowhere
        // useful: decode from the start of a fresh opening instead.
        source = openVideo(path, error);
        if (!source)
            return std::nullopt;
        frame = decodeFrame(*source, target, latest, &readResult);
    }
    if (!frame) {
        if (readResult < 0 && readResult != AVERROR_EOF)
            setError(error, QStringLiteral("No frame of the video could be decoded: %1.")
                                .arg(errorText(readResult)));
        else
            setError(error, QStringLiteral("No frame of the video could be decoded."));
        return std::nullopt;
    }
    return toImage(frame.get(), orientationOf(source->stream), maxSize, error);
}
