// Helpers shared by the tests: documents parsed through the real reader and
// dispatch, captured output, scratch directories, runs of the built program
// and a local HTTP server.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "events/central_object.h"
#include "events/xml_reader.h"
#include "support/conversion_error.h"
#include "support/progress.h"
#include "support/text_output.h"

namespace morvane::test {

// The triangle of MeshDocument's mesh.
inline constexpr const char* kOneTriangle =
    "<triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2</p></triangles>";

// A document of one geometry 'g' whose mesh holds the points `positions`
// (source 'p', vertices 'v') and `primitives`; then `libraries`, and a
// visual scene 'scene' of `scene`, which the document instances.
std::string MeshDocument(const std::string& scene = "<node><instance_geometry url='#g'/></node>",
                         const std::string& primitives = kOneTriangle,
                         const std::string& positions = "0 0 0 1 0 0 0 1 0", const std::string& libraries = "");
// The triangle in node b inside node a, and an empty node c beside a.
inline const std::string kNestedTriangle =
    MeshDocument("<node id='a'><node id='b'><instance_geometry url='#g'/></node></node><node id='c'/>");
// A document of one textured triangle for each image reference given (none:
// an untextured one).
std::string TexturedDocument(const std::vector<std::string>& images = {});
// The example document of the source tree.
std::string CubeDocument();
// The .dae files under `folder`, sorted, of fewer than `below` bytes.
std::vector<std::filesystem::path> Documents(const std::filesystem::path& folder,
                                             std::uintmax_t below = UINTMAX_MAX);
std::filesystem::path CorpusDirectory();
// The words of `text`, split at white space.
std::vector<std::string> Words(const std::string& text);

// Parses `xml` into `converter` (startDocument to endDocument, so the
// converter's Write runs at the end, to its Output). Gives
// why the document was refused, or nothing when it was read to its end.
std::string ParseDocument(ColladaReader& converter, const std::string& xml, std::size_t chunkSize = 0);

// The progress marks of a conversion, one character each.
struct ProgressMarks final : ProgressSink {
    void Mark(char mark) override { Text += mark; }
    std::string Text;
};

// Writes down what it is told, B(egin), C(ommit) and A(bandon), and keeps
// the pieces it takes, up to `room` bytes; past them it refuses the piece.
struct RecordingSink final : OutputSink {
    void Begin() override { log += "B"; }
    void Take(std::string_view piece) override {
        if (taken.size() + piece.size() > room) throw ConversionError(ErrorKind::kCannotWrite, "disk full");
        taken += piece;
        pieces.emplace_back(piece);
    }
    void Commit() override { log += "C"; }
    void Abandon() override { log += "A"; }
    std::string log;
    std::string taken;
    std::vector<std::string> pieces;
    std::size_t room = std::string::npos;
};

// What `write` puts into a text output, flushed at its end.
std::string WrittenText(const std::function<void(TextOutput&)>& write);

// Converts a document held in memory through the library's public
// interface, with option words as on the command line, as if its output
// were `outputName`. Gives the X3D text; empty when the document yields none.
std::string ConvertInMemory(std::string_view document, const std::vector<std::string>& options,
                            const std::string& outputName = "model.x3d");

std::string ReadFile(const std::filesystem::path& path);
// The text of a gzip stream, read with zlib; "<not gzip>" when it is not
// one whole gzip member.
std::string Gunzip(const std::string& compressed);
void WriteFile(const std::filesystem::path& path, const std::string& content);

// A fresh directory, removed with everything in it when the object goes.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

// A run of the built morvane with more control than RunMorvane gives.
struct Launch {
    std::filesystem::path Directory{};
    std::vector<std::string> Args{};
    std::string Input{};
    // Standard output; -1 captures it.
    int Stdout = -1;
    // Standard input; -1 reads `Input`.
    int Stdin = -1;
    // Runs the program as this user and group when both are set (needs root).
    int User = -1;
    int Group = -1;
    // The largest file the program may write; 0 for no limit.
    long FileSizeLimit = 0;
    // Signals that the program starts with ignored, as under nohup; every
    // other signal that ends a conversion starts at its default action.
    std::vector<int> IgnoredSignals{};
    // Called once the program runs, with its process id.
    std::function<void(int)> WhileRunning{};
    // When set, the program is traced until it opens this path (the name as
    // it hands it to the system) and `BeforeOpen` runs just before that open
    // goes ahead; then the trace ends. See Ending::traced.
    std::string TracedPath{};
    std::function<void()> BeforeOpen{};
    // After this the program is killed and the run counts as hung.
    int TimeoutSeconds = 300;
};
struct Ending {
    // The exit status, or -1 when a signal ended the program.
    int exitCode = -1;
    // The signal that ended it, or 0.
    int signal = 0;
    bool hung = false;
    // With a TracedPath: whether the program could be traced at all, and
    // whether BeforeOpen ran.
    bool traced = false;
    bool openSeen = false;
    std::string out;
    std::string err;
};
// Starts the program with the signals that end a conversion at their
// default actions, whatever the test runner's are, except those the launch
// asks to be ignored.
Ending Execute(const Launch& launch);

// Runs the built morvane in `directory` with `args`, feeding `input` to its
// standard input.
Ending RunMorvane(const std::filesystem::path& directory, const std::vector<std::string>& args,
                  const std::string& input = "");

// The entries of `directory` whose names begin with '.'.
std::vector<std::string> HiddenEntries(const std::filesystem::path& directory);

// An HTTP server on the loopback interface, until the object goes, that
// answers a fixed set of paths with fixed responses (anything else: 404),
// or hands each connection with the path asked for to `serve`.
class LocalHttpServer {
public:
    using Handler = std::function<void(int client, const std::string& path)>;
    explicit LocalHttpServer(std::map<std::string, std::string> responses, Handler serve = {});
    ~LocalHttpServer();
    LocalHttpServer(const LocalHttpServer&) = delete;
    LocalHttpServer& operator=(const LocalHttpServer&) = delete;
    std::string Url(const std::string& path) const;
    int Requests() const { return requests_; }

private:
    void Serve();

    std::map<std::string, std::string> responses_;
    Handler serve_;
    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<int> requests_{0};
    std::thread thread_;
};

// A whole 200 response carrying `body`.
std::string HttpOk(const std::string& body);

// Empty when `text` is well-formed XML to expat; otherwise the error and its line.
std::string XmlErrors(const std::string& text);

// Empty when standard error holds what a conversion of `input` must leave
// there: nothing when it wrote its output, otherwise exactly one line
// "morvane: INPUT: REASON" with a reason of the known kinds. Otherwise says
// what is wrong.
std::string DiagnosticProblem(const std::string& err, const std::string& input, bool written);

}  // namespace morvane::test
