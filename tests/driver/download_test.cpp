// A download that crawls is given up, so that a batch is never held for
// ever by a server that sends a byte now and then. The server is a thread
// of this test on the loopback interface.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "test_support.h"

namespace morvane {
namespace {

// Answers one request with a 200 response of no stated length whose body
// then comes at two bytes a second, without end, until the client leaves
// or the object goes.
class CrawlingServer {
public:
    CrawlingServer() {
        listener_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener_, 1) != 0) {
            throw std::runtime_error("cannot listen on the loopback interface");
        }
        socklen_t length = sizeof address;
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { Serve(); });
    }
    ~CrawlingServer() {
        stopping_ = true;
        shutdown(listener_, SHUT_RDWR);
        close(listener_);
        thread_.join();
    }
    CrawlingServer(const CrawlingServer&) = delete;
    CrawlingServer& operator=(const CrawlingServer&) = delete;

    std::string Url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }
    std::size_t BytesSent() const { return sent_; }

private:
    void Serve() {
        const int client = accept(listener_, nullptr, nullptr);
        if (client < 0) return;
        char request[4096];
        [[maybe_unused]] const ssize_t ignored = recv(client, request, sizeof request, 0);
        const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: model/vnd.collada+xml\r\nConnection: close\r\n\r\n";
        bool open = send(client, head.data(), head.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(head.size());
        const std::string start = "<COLLADA>";
        for (std::size_t at = 0; open && !stopping_; at += 2) {
            // After the start tag, white space inside the element for ever.
            const char pair[2] = {at < start.size() ? start[at] : ' ', at + 1 < start.size() ? start[at + 1] : ' '};
            open = send(client, pair, 2, MSG_NOSIGNAL) == 2;
            if (open) sent_ += 2;
            for (int tenth = 0; open && tenth < 10 && !stopping_; ++tenth) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        }
        close(client);
    }

    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<std::size_t> sent_{0};
    std::thread thread_;
};

TEST(Download, ATransferSlowerThanOneKibibyteASecondForAMinuteIsGivenUp) {
    test::ScratchDirectory scratch;
    test::WriteFile(scratch / "m.x3d", "earlier");
    CrawlingServer server;
    const std::string url = server.Url("/m.dae");
    const auto started = std::chrono::steady_clock::now();
    const auto ending = test::Execute({.Directory = scratch.Path(), .Args = {url}, .TimeoutSeconds = 150});
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - started).count();
    EXPECT_FALSE(ending.hung);
    EXPECT_EQ(ending.exitCode, 0);
    EXPECT_EQ(ending.out, "");
    EXPECT_EQ(ending.err, "morvane: " + url +
                              ": download failed: Operation too slow. Less than 1024 bytes/sec transferred the last "
                              "60 seconds\n");
    // Given up after a minute of crawling, not at the first slow second.
    EXPECT_GE(seconds, 59);
    EXPECT_GE(server.BytesSent(), 100u);
    EXPECT_EQ(test::ReadFile(scratch / "m.x3d"), "earlier");
    EXPECT_TRUE(test::HiddenEntries(scratch.Path()).empty());
}

}  // namespace
}  // namespace morvane
