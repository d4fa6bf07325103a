#include "support/gzip_sink.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

#include "support/conversion_error.h"

namespace morvane {

namespace {

// Compressed bytes gathered before they are handed on.
constexpr std::size_t kBufferSize = 1 << 16;
// deflate takes its input in lengths of uInt.
constexpr std::size_t kLargestStep = std::numeric_limits<uInt>::max();
// zlib's window bits, plus 16 for the gzip wrapper instead of zlib's own.
constexpr int kGzipWindowBits = 15 + 16;
constexpr int kMemoryLevel = 8;

}  // namespace

struct GzipSink::Stream {
    z_stream z{};
    unsigned char buffer[kBufferSize];
};

GzipSink::GzipSink(OutputSink& inner) : inner_(inner) {}

GzipSink::~GzipSink() { EndStream(); }

void GzipSink::EndStream() {
    if (!stream_) return;
    deflateEnd(&stream_->z);
    stream_.reset();
}

void GzipSink::Begin() {
    EndStream();
    inner_.Begin();
    auto stream = std::make_unique<Stream>();
    const int status =
        deflateInit2(&stream->z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindowBits, kMemoryLevel, Z_DEFAULT_STRATEGY);
    if (status == Z_MEM_ERROR) throw ConversionError(ErrorKind::kOutOfMemory, "out of memory");
    if (status != Z_OK) throw ConversionError(ErrorKind::kInternalError, "cannot start the gzip stream");
    stream_ = std::move(stream);
}

void GzipSink::Deflate(std::string_view piece, bool finish) {
    if (!stream_) throw ConversionError(ErrorKind::kInternalError, "the gzip stream was not begun");
    z_stream& z = stream_->z;
    for (;;) {
        const std::size_t step = std::min(piece.size(), kLargestStep);
        // deflate never writes through next_in.
        z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.data()));
        z.avail_in = static_cast<uInt>(step);
        const bool last = finish && step == piece.size();
        int status = Z_OK;
        do {
            z.next_out = stream_->buffer;
            z.avail_out = kBufferSize;
            status = deflate(&z, last ? Z_FINISH : Z_NO_FLUSH);
            if (status == Z_STREAM_ERROR) throw ConversionError(ErrorKind::kInternalError, "the gzip stream failed");
            const std::size_t made = kBufferSize - z.avail_out;
            if (made > 0) inner_.Take(std::string_view(reinterpret_cast<const char*>(stream_->buffer), made));
            // A full buffer may leave more to make; Z_FINISH goes on to the
            // stream's end.
        } while (z.avail_out == 0 || (last && status != Z_STREAM_END));
        piece.remove_prefix(step - z.avail_in);
        if (piece.empty() && (!finish || last)) return;
    }
}

void GzipSink::Take(std::string_view piece) {
    if (!piece.empty()) Deflate(piece, false);
}

void GzipSink::Commit() {
    Deflate({}, true);
    EndStream();
    inner_.Commit();
}

void GzipSink::Abandon() {
    EndStream();
    inner_.Abandon();
}

}  // namespace morvane
