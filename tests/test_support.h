// Helpers shared by the tests: documents parsed through the real reader and
// dispatch, captured output, scratch directories, runs of the built program
// and a local HTTP server.
#pragma once

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "events/central_object.h"
#include "events/xml_reader.h"

namespace morvane::test {

// Parses `xml` into `converter` (startDocument to endDocument, so the
// converter's Write runs at the end when it has an OutputFileName).
ResultCode ParseDocument(ColladaReader& converter, const std::string& xml, std::size_t chunkSize = 0);

// What `write` puts into a stream.
std::string CaptureOutput(const std::function<void(std::FILE*)>& write);

std::string ReadFile(const std::filesystem::path& path);
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

// Runs the built morvane in `directory` with `args`, feeding `input` to its
// standard input.
struct RunResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};
RunResult RunMorvane(const std::filesystem::path& directory, const std::vector<std::string>& args,
                     const std::string& input = "");

// An HTTP server on the loopback interface that answers a fixed set of
// paths with fixed responses (anything else: 404) until the object goes.
class LocalHttpServer {
public:
    explicit LocalHttpServer(std::map<std::string, std::string> responses);
    ~LocalHttpServer();
    LocalHttpServer(const LocalHttpServer&) = delete;
    LocalHttpServer& operator=(const LocalHttpServer&) = delete;
    std::string Url(const std::string& path) const;
    int Requests() const { return requests_; }

private:
    void Serve();

    std::map<std::string, std::string> responses_;
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

}  // namespace morvane::test
