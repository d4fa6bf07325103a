#include "test_support.h"

#include <arpa/inet.h>
#include <expat.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace morvane::test {

ResultCode ParseDocument(ColladaReader& converter, const std::string& xml, std::size_t chunkSize) {
    XmlReader reader;
    reader.PutContentHandler(&converter);
    return reader.ParseBuffer(xml, chunkSize);
}

std::string CaptureOutput(const std::function<void(std::FILE*)>& write) {
    char* buffer = nullptr;
    std::size_t size = 0;
    std::FILE* stream = open_memstream(&buffer, &size);
    if (stream == nullptr) throw std::runtime_error("open_memstream failed");
    write(stream);
    std::fclose(stream);
    std::string text(buffer, size);
    std::free(buffer);
    return text;
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

std::string Quote(const std::string& arg) {
    std::string quoted = "'";
    for (char c : arg) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

}  // namespace

RunResult RunMorvane(const std::filesystem::path& directory, const std::vector<std::string>& args,
                     const std::string& input) {
    ScratchDirectory io;
    WriteFile(io / "stdin", input);
    // A hang shows as a failure (exit code 124) instead of stalling the suite.
    std::string command = "cd " + Quote(directory.string()) + " && timeout 300 " + Quote(MORVANE_BINARY);
    for (const std::string& arg : args) command += " " + Quote(arg);
    command += " < " + Quote((io / "stdin").string()) + " > " + Quote((io / "stdout").string()) + " 2> " +
               Quote((io / "stderr").string());
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(io / "stdout"), ReadFile(io / "stderr")};
}

LocalHttpServer::LocalHttpServer(std::map<std::string, std::string> responses) : responses_(std::move(responses)) {
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
        const auto found = responses_.find(request.substr(pathStart, request.find(' ', pathStart) - pathStart));
        const std::string response =
            found != responses_.end() ? found->second : "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";
        send(client, response.data(), response.size(), MSG_NOSIGNAL);
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

}  // namespace morvane::test
