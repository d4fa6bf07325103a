// Converts a list of documents in one process, on THREADS threads (default:
// every core), through the library: each thread has its own converter and
// takes the next document of the list until none is left. Each output is
// written beside its document under the name the program would give it
// (the first ".dae" becomes ".x3d"), so that the outputs can be compared
// with the program's.
//
//   convert_list LIST [THREADS] [OPTION WORDS...]
#include <atomic>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "morvane/morvane.hpp"

namespace {

std::string OutputName(const std::string& input) {
    const std::size_t dae = input.empty() ? std::string::npos : input.find(".dae", 1);
    return dae == std::string::npos ? input + ".x3d" : std::string(input).replace(dae, 4, ".x3d");
}

// Converts one document; false, with a line on standard error, when it
// gives no output.
bool ConvertOne(morvane::Converter& converter, const std::string& input) {
    std::ifstream file(input, std::ios::binary);
    const std::string document((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::string output = OutputName(input);
    converter.SetOutputName(output);
    std::string x3d;
    if (!file || converter.Convert(document, x3d) != morvane::Status::kOk) {
        const std::vector<morvane::Diagnostic> diagnostics = converter.Diagnostics();
        std::fprintf(stderr, "convert_list: %s: %s\n", input.c_str(),
                     diagnostics.empty() ? "cannot read" : diagnostics.back().message.c_str());
        return false;
    }
    std::ofstream(output, std::ios::binary) << x3d;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: convert_list LIST [THREADS] [OPTION WORDS...]\n", stderr);
        return 2;
    }
    std::vector<std::string> inputs;
    std::ifstream list(argv[1]);
    for (std::string line; std::getline(list, line);) {
        if (!line.empty()) inputs.push_back(line);
    }
    const unsigned count = argc > 2 ? static_cast<unsigned>(std::stoul(argv[2])) : std::thread::hardware_concurrency();
    const std::vector<std::string> options(argv + (argc > 2 ? 3 : 2), argv + argc);

    std::atomic<std::size_t> next{0};
    std::atomic<bool> failed{false};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < (count == 0 ? 1 : count); ++t) {
        threads.emplace_back([&] {
            morvane::Converter converter;
            if (converter.SetOptions(options) != morvane::Status::kOk) {
                failed = true;
                return;
            }
            for (std::size_t i = next++; i < inputs.size(); i = next++) {
                if (!ConvertOne(converter, inputs[i])) failed = true;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    return failed ? 1 : 0;
}
