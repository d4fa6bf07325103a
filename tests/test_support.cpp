#include "test_support.h"

#include <stdlib.h>
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
    std::ofstream out(path, std::ios::binary);
    out << content;
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
    for (char c : arg) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return quoted + "'";
}

}  // namespace

RunResult RunMorvane(const std::filesystem::path& directory, const std::vector<std::string>& args,
                     const std::string& input) {
    ScratchDirectory io;
    WriteFile(io / "stdin", input);
    std::string command = "cd " + Quote(directory.string()) + " && " + Quote(MORVANE_BINARY);
    for (const std::string& arg : args) command += " " + Quote(arg);
    command += " < " + Quote((io / "stdin").string()) + " > " + Quote((io / "stdout").string()) + " 2> " +
               Quote((io / "stderr").string());
    const int status = std::system(command.c_str());
    RunResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadFile(io / "stdout");
    result.err = ReadFile(io / "stderr");
    return result;
}

}  // namespace morvane::test
