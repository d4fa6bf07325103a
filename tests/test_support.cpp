#include "test_support.h"

#include <gtest/gtest.h>

#include "morvane/morvane.hpp"

// GCC 12 warns of an uninitialised member deep inside std::regex's
// compiler when it optimises with the sanitizers on; a known false alarm.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include <arpa/inet.h>
#include <expat.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace morvane::test {

std::string ParseDocument(ColladaReader& converter, const std::string& xml, std::size_t chunkSize) {
    XmlReader reader;
    reader.PutContentHandler(&converter);
    try {
        reader.ParseBuffer(xml, chunkSize);
    } catch (const ConversionError& refusal) {
        return refusal.Message();
    }
    return {};
}

std::string WrittenText(const std::function<void(TextOutput&)>& write) {
    MemorySink sink;
    sink.Begin();
    TextOutput out(sink);
    write(out);
    out.Flush();
    sink.Commit();
    return sink.TakeText();
}

std::string ConvertInMemory(std::string_view document, const std::vector<std::string>& options,
                            const std::string& outputName) {
    Converter converter;
    EXPECT_EQ(converter.SetOptions(options), Status::kOk);
    EXPECT_EQ(converter.SetOutputName(outputName), Status::kOk);
    std::string x3d;
    converter.Convert(document, x3d);
    return x3d;
}

std::string MeshDocument(const std::string& scene, const std::string& primitives, const std::string& positions,
                         const std::string& libraries) {
    return "<COLLADA><library_geometries><geometry id='g'><mesh><source id='p'><float_array id='p-array' count='" +
           std::to_string(Words(positions).size()) + "'>" + positions +
           "</float_array><technique_common><accessor source='#p-array' count='" +
           std::to_string(Words(positions).size() / 3) +
           "' stride='3'><param name='X' type='float'/><param name='Y' type='float'/><param name='Z' type='float'/>"
           "</accessor></technique_common></source><vertices id='v'><input semantic='POSITION' source='#p'/>"
           "</vertices>" + primitives + "</mesh></geometry></library_geometries>" + libraries +
           "<library_visual_scenes><visual_scene id='scene'>" + scene +
           "</visual_scene></library_visual_scenes><scene><instance_visual_scene url='#scene'/></scene></COLLADA>";
}

std::string TexturedDocument(const std::vector<std::string>& images) {
    std::string libraries;
    std::string nodes = images.empty() ? "<node><instance_geometry url='#g'/></node>" : "";
    for (std::size_t i = 0; i < images.size(); ++i) {
        const std::string n = std::to_string(i);
        libraries += "<library_images><image id='img" + n + "'><init_from>" + images[i] +
                     "</init_from></image></library_images><library_effects><effect id='fx" + n +
                     "'><profile_COMMON><technique sid='t'><lambert><diffuse><texture texture='img" + n +
                     "' texcoord='UV'/></diffuse></lambert></technique></profile_COMMON></effect></library_effects>"
                     "<library_materials><material id='mat" + n + "'><instance_effect url='#fx" + n +
                     "'/></material></library_materials>";
        nodes += "<node><instance_geometry url='#g'><bind_material><technique_common><instance_material "
                 "symbol='m' target='#mat" + n + "'/></technique_common></bind_material></instance_geometry></node>";
    }
    return "<?xml version='1.0'?>\n" +
           MeshDocument(nodes,
                        "<triangles count='1' material='m'><input semantic='VERTEX' source='#v' offset='0'/>"
                        "<p>0 1 2</p></triangles>",
                        "0 0 0 1 0 0 0 0 2", libraries);
}

std::filesystem::path CorpusDirectory() {
    return std::filesystem::path(MORVANE_SOURCE_DIR).parent_path() / "shared" / "corpus";
}

std::string CubeDocument() { return ReadFile(std::filesystem::path(MORVANE_SOURCE_DIR) / "examples" / "cube.dae"); }

std::vector<std::filesystem::path> Documents(const std::filesystem::path& folder, std::uintmax_t below) {
    std::vector<std::filesystem::path> documents;
    if (!std::filesystem::is_directory(folder)) return documents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && entry.path().extension() == ".dae" && entry.file_size() < below) {
            documents.push_back(entry.path());
        }
    }
    std::sort(documents.begin(), documents.end());
    return documents;
}

std::vector<std::string> Words(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

std::string Gunzip(const std::string& compressed) {
    z_stream z{};
    if (inflateInit2(&z, 15 + 16) != Z_OK) return "<not gzip>";
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
    z.avail_in = static_cast<uInt>(compressed.size());
    std::string text;
    int status = Z_OK;
    while (status == Z_OK) {
        char buffer[4096];
        z.next_out = reinterpret_cast<Bytef*>(buffer);
        z.avail_out = sizeof buffer;
        status = inflate(&z, Z_NO_FLUSH);
        text.append(buffer, sizeof buffer - z.avail_out);
    }
    const bool whole = status == Z_STREAM_END && z.avail_in == 0;
    inflateEnd(&z);
    return whole ? text : "<not gzip>";
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void WriteFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

ScratchDirectory::ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "morvane-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

namespace {

// What a child that cannot be traced exits with before it runs the program.
constexpr int kCannotTrace = 125;

// The string at `address` in a stopped traced process, up to `limit` bytes.
std::string PeekString(pid_t child, unsigned long long address, std::size_t limit = 4096) {
    std::string text;
    while (text.size() < limit) {
        errno = 0;
        const long word = ptrace(PTRACE_PEEKDATA, child, reinterpret_cast<void*>(address + text.size()), nullptr);
        if (errno != 0) break;
        const char* bytes = reinterpret_cast<const char*>(&word);
        for (std::size_t i = 0; i < sizeof word; ++i) {
            if (bytes[i] == '\0') return text;
            text += bytes[i];
        }
    }
    return text;
}

// Follows a child that stopped at its exec under PTRACE_TRACEME from one
// system call to the next until it opens `path`; runs `act` at the entry
// of that open and lets the child go on untraced. False when the child
// ended first, with its status in `status`.
bool RunUntilOpen(pid_t child, const std::string& path, const std::function<void()>& act, int& status) {
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int pass = 0;
    for (;;) {
        if (ptrace(PTRACE_SYSCALL, child, nullptr, reinterpret_cast<void*>(static_cast<long>(pass))) != 0) return false;
        if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return false;
        pass = 0;
        if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
            pass = WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
            continue;
        }
        __ptrace_syscall_info info{};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, child, reinterpret_cast<void*>(sizeof info), &info) <= 0) continue;
        if (info.op != PTRACE_SYSCALL_INFO_ENTRY) continue;
        unsigned long long name = 0;
        if (info.entry.nr == SYS_openat) name = info.entry.args[1];
#ifdef SYS_open
        if (info.entry.nr == SYS_open) name = info.entry.args[0];
#endif
        if (name == 0 || PeekString(child, name) != path) continue;
        act();
        ptrace(PTRACE_DETACH, child, nullptr, nullptr);
        return true;
    }
}

}  // namespace

Ending Execute(const Launch& launch) {
    ScratchDirectory io;
    WriteFile(io / "stdin", launch.Input);
    const std::string in = (io / "stdin").string();
    const std::string out = (io / "stdout").string();
    const std::string err = (io / "stderr").string();
    const std::string directory = launch.Directory.string();
    std::vector<std::string> args{MORVANE_BINARY};
    args.insert(args.end(), launch.Args.begin(), launch.Args.end());
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);

    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        // Only calls that are safe between fork and exec.
        const int input = launch.Stdin >= 0 ? launch.Stdin : open(in.c_str(), O_RDONLY);
        const int output = launch.Stdout >= 0 ? launch.Stdout : open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int error = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (input < 0 || output < 0 || error < 0 || dup2(input, 0) < 0 || dup2(output, 1) < 0 || dup2(error, 2) < 0 ||
            chdir(directory.c_str()) != 0) {
            _exit(127);
        }
        for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2, SIGPIPE, SIGXFSZ}) {
            std::signal(signal, SIG_DFL);
        }
        for (int signal : launch.IgnoredSignals) std::signal(signal, SIG_IGN);
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        if (launch.FileSizeLimit > 0) {
            const rlimit limit{static_cast<rlim_t>(launch.FileSizeLimit), static_cast<rlim_t>(launch.FileSizeLimit)};
            if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(127);
        }
        if (launch.User >= 0 && launch.Group >= 0 &&
            (setgroups(0, nullptr) != 0 || setgid(static_cast<gid_t>(launch.Group)) != 0 ||
             setuid(static_cast<uid_t>(launch.User)) != 0)) {
            _exit(127);
        }
        if (!launch.TracedPath.empty() && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(kCannotTrace);
        execv(argv[0], argv.data());
        _exit(127);
    }

    Ending ending;
    int status = 0;
    bool ended = false;
    if (!launch.TracedPath.empty()) {
        // The exec stops a child that is traced; one that is not has ended.
        if (waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
            ending.traced = true;
            ending.openSeen = RunUntilOpen(child, launch.TracedPath, launch.BeforeOpen, status);
            ended = !ending.openSeen && (WIFEXITED(status) || WIFSIGNALED(status));
        } else {
            ended = true;
        }
    }
    if (launch.WhileRunning) launch.WhileRunning(child);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(launch.TimeoutSeconds);
    while (!ended && waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            ending.hung = true;
            break;
        }
        usleep(2000);
    }
    if (WIFEXITED(status)) ending.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) ending.signal = WTERMSIG(status);
    ending.out = ReadFile(out);
    ending.err = ReadFile(err);
    return ending;
}

Ending RunMorvane(const std::filesystem::path& directory, const std::vector<std::string>& args,
                  const std::string& input) {
    return Execute({.Directory = directory, .Args = args, .Input = input});
}

std::vector<std::string> HiddenEntries(const std::filesystem::path& directory) {
    std::vector<std::string> hidden;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(".")) hidden.push_back(name);
    }
    return hidden;
}

LocalHttpServer::LocalHttpServer(std::map<std::string, std::string> responses, Handler serve)
    : responses_(std::move(responses)), serve_(std::move(serve)) {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener_, 8) != 0) {
        throw std::runtime_error("cannot listen on the loopback interface");
    }
    socklen_t length = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { Serve(); });
}

LocalHttpServer::~LocalHttpServer() {
    stopping_ = true;
    shutdown(listener_, SHUT_RDWR);
    close(listener_);
    thread_.join();
}

std::string LocalHttpServer::Url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void LocalHttpServer::Serve() {
    while (!stopping_) {
        const int client = accept(listener_, nullptr, nullptr);
        if (client < 0) return;
        std::string request;
        char buffer[4096];
        while (request.find("\r\n\r\n") == std::string::npos) {
            const ssize_t got = recv(client, buffer, sizeof buffer, 0);
            if (got <= 0) break;
            request.append(buffer, static_cast<std::size_t>(got));
        }
        ++requests_;
        const std::size_t pathStart = request.find(' ') + 1;
        const std::string path = request.substr(pathStart, request.find(' ', pathStart) - pathStart);
        const auto found = responses_.find(path);
        const std::string response =
            found != responses_.end() ? found->second : "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";
        if (serve_) {
            serve_(client, path);
        } else {
            send(client, response.data(), response.size(), MSG_NOSIGNAL);
        }
        close(client);
    }
}

std::string HttpOk(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Type: model/vnd.collada+xml\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

std::string XmlErrors(const std::string& text) {
    XML_Parser parser = XML_ParserCreate(nullptr);
    std::string errors;
    if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_ERROR) {
        errors = std::string(XML_ErrorString(XML_GetErrorCode(parser))) + " at line " +
                 std::to_string(XML_GetCurrentLineNumber(parser));
    }
    XML_ParserFree(parser);
    return errors;
}

std::string DiagnosticProblem(const std::string& err, const std::string& input, bool written) {
    if (written) return err.empty() ? "" : "an output was written, and yet: " + err;
    static const std::regex reasons(
        "cannot open: .+|cannot read: .+|not a regular file|download failed: .+|"
        "not well-formed XML at line [1-9][0-9]*, column [1-9][0-9]*: .+|unsupported encoding .+|"
        "nothing to convert \\(no triangles, polylist, polygons or lines"
        "(; it has (tristrips|trifans|linestrips|skins|morphs)(, (trifans|linestrips|skins|morphs))*)?\\)|"
        "nothing to convert \\(its primitives are left out by -sy or -sl\\)|nested deeper than 1000 levels|"
        "counts far beyond their lists \\(more than 1000000 triangles missing\\)|"
        "output larger than the limit of [1-9][0-9]* bytes|too many entries \\(a list would reach 2\\^31\\)|"
        "out of memory|cannot write .+: .+|refused: .+ would overwrite the input|"
        "refused: .+ is an existing \\.dae file|"
        "refused: .+ is a symbolic link in a sticky directory, owned by someone else|"
        "refused: .+ is the standard input");
    const std::string head = "morvane: " + input + ": ";
    if (!err.starts_with(head) || !err.ends_with("\n") || err.find('\n') != err.size() - 1) {
        return "not one line about " + input + ": " + err;
    }
    const std::string reason = err.substr(head.size(), err.size() - head.size() - 1);
    return std::regex_match(reason, reasons) ? "" : "an unknown reason: " + reason;
}

}  // namespace morvane::test
