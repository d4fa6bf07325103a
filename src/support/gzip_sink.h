// A sink that compresses: the text it takes leaves it as a gzip stream
// (deflate with the gzip wrapper, as zlib writes it) into another sink,
// piece by piece, so that neither the text nor its compressed form is ever
// whole in memory. Commit finishes the stream and commits the sink below;
// Abandon drops the stream and abandons it.
#pragma once

#include <memory>
#include <string_view>

#include "support/text_output.h"

namespace morvane {

class GzipSink final : public OutputSink {
public:
    // `inner` receives the compressed bytes; it must outlive this sink.
    explicit GzipSink(OutputSink& inner);
    ~GzipSink() override;
    GzipSink(const GzipSink&) = delete;
    GzipSink& operator=(const GzipSink&) = delete;

    void Begin() override;
    void Take(std::string_view piece) override;
    void Commit() override;
    void Abandon() override;

private:
    struct Stream;
    // Compresses `piece`, handing every full buffer to the inner sink; with
    // `finish`, ends the stream and hands the rest.
    void Deflate(std::string_view piece, bool finish);
    void EndStream();

    OutputSink& inner_;
    // Made at Begin, dropped at Commit and Abandon.
    std::unique_ptr<Stream> stream_;
};

}  // namespace morvane
