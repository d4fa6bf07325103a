// Runs a command and reports its wall time, peak resident memory (from the
// kernel's account of the child when it ends), exit code and processor time
// (user and system), one line into a report file, so that the command keeps
// the console to itself. The peak covers the child's own waited-for children
// too, so a command run under timeout(1) is measured whole.
//
//   measure report-file command [arguments...]
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s report-file command [arguments...]\n", argv[0]);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child < 0) return 1;
    if (child == 0) {
        execvp(argv[2], argv + 2);
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    if (wait4(child, &status, 0, &usage) != child) return 1;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    // ru_maxrss is in kilobytes on Linux.
    std::FILE* report = std::fopen(argv[1], "w");
    if (report == nullptr) return 1;
    const double cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                       static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    std::fprintf(report, "%.2f %.1f %d %.3f\n", seconds, static_cast<double>(usage.ru_maxrss) / 1024.0, code, cpu);
    return std::fclose(report) == 0 ? 0 : 1;
}
