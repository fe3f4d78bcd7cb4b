// Resident memory of the real program under floods on its iPad link. Starts `tessiva-focus run`
// on 127.0.0.1, links a socket as the active iPad, then sends (1) never-completing chunked
// workspace transfers with fresh IDs from the active iPad, (2) random garbage and (3) pings from
// 5,000 other sockets. Samples the child's VmRSS from /proc every 20 ms and prints the baseline,
// the peak of each phase and the figure a few seconds after the floods. Linux only.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "osc/OSCCodec.h"

using namespace tessiva;  // NOLINT: a benchmark program

namespace {

constexpr int kChunks = 400000;
constexpr int kChunksPerTransfer = 99;
constexpr std::size_t kChunkBytes = 1000;
constexpr int kGarbageDatagrams = 100000;
constexpr int kStrangers = 5000;

int openSocket(std::uint16_t* port) {
    int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof(local));
    socklen_t length = sizeof(local);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length);
    if (port)
        *port = ntohs(local.sin_port);
    return fd;
}

void sendTo(int fd, std::uint16_t port, const std::vector<std::uint8_t>& bytes) {
    sockaddr_in remote{};
    remote.sin_family = AF_INET;
    remote.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    remote.sin_port = htons(port);
    ::sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&remote),
             sizeof(remote));
}

bool receive(int fd, double seconds) {
    timeval timeout{0, static_cast<suseconds_t>(seconds * 1e6)};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    char buffer[4096];
    return ::recv(fd, buffer, sizeof(buffer), 0) > 0;
}

double residentMiB(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stod(line.substr(6)) / 1024.0;
    }
    return 0;
}

// Keeps the highest VmRSS seen since the last reset.
class PeakSampler {
  public:
    explicit PeakSampler(pid_t pid)
        : pid_(pid), thread_([this] {
              while (!stop_) {
                  const double now = residentMiB(pid_);
                  double seen = peak_.load();
                  while (now > seen && !peak_.compare_exchange_weak(seen, now)) {
                  }
                  std::this_thread::sleep_for(std::chrono::milliseconds(20));
              }
          }) {}
    ~PeakSampler() {
        stop_ = true;
        thread_.join();
    }
    double takePeak() { return peak_.exchange(residentMiB(pid_)); }

  private:
    pid_t pid_;
    std::atomic<bool> stop_{false};
    std::atomic<double> peak_{0};
    std::thread thread_;
};

// Paces sending to about `perSecond` datagrams a second.
void pace(int sent, int perSecond, std::chrono::steady_clock::time_point start) {
    const auto due =
        start + std::chrono::microseconds(static_cast<long long>(sent) * 1000000LL / perSecond);
    std::this_thread::sleep_until(due);
}

}  // namespace

int main() {
    std::uint16_t macPort = 0;
    ::close(openSocket(&macPort));  // a free port for the program
    const auto home = std::filesystem::temp_directory_path() /
                      ("tessiva-memory-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directories(home);

    const pid_t child = ::fork();
    if (child == 0) {
        std::freopen("/dev/null", "w", stdout);
        const std::string port = std::to_string(macPort);
        const std::string homeText = home.string();
        ::execl(TESSIVA_FOCUS, TESSIVA_FOCUS, "run", "--port", port.c_str(), "--bind", "127.0.0.1",
                "--no-bonjour", "--midi", "memory", "--home", homeText.c_str(), nullptr);
        std::_Exit(127);
    }

    std::uint16_t iPadPort = 0;
    const int iPad = openSocket(&iPadPort);
    const auto ping =
        encodeMessage("/ping", {OSCArgument::int32(iPadPort), OSCArgument::string("Bench iPad")});
    bool linked = false;
    for (int attempt = 0; attempt < 100 && !linked; ++attempt) {
        sendTo(iPad, macPort, ping);
        linked = receive(iPad, 0.1);
    }
    if (!linked) {
        std::printf("the program did not answer /ping\n");
        ::kill(child, SIGTERM);
        return 1;
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
    PeakSampler sampler(child);
    const double baseline = residentMiB(child);
    sampler.takePeak();
    std::printf("baseline                     %7.1f MiB\n", baseline);

    // (1) Never-completing transfers with fresh IDs: every chunk but the last of each.
    {
        const std::string text(kChunkBytes, 'x');
        const auto start = std::chrono::steady_clock::now();
        for (int n = 0; n < kChunks; ++n) {
            const int transfer = n / (kChunksPerTransfer - 1);
            const int index = n % (kChunksPerTransfer - 1);
            sendTo(iPad, macPort,
                   encodeMessage("/tessiva/workspace/snapshot/chunk",
                                 {OSCArgument::string("T-" + std::to_string(transfer)),
                                  OSCArgument::int32(index), OSCArgument::int32(kChunksPerTransfer),
                                  OSCArgument::string(text)}));
            if (n % 20000 == 0)
                sendTo(iPad, macPort, ping);
            pace(n, 50000, start);
        }
        std::printf("chunks: peak                 %7.1f MiB (%d chunks, fresh transfer IDs)\n",
                    sampler.takePeak(), kChunks);
    }
    // (2) Random garbage and (3) pings from strangers.
    {
        std::mt19937 random(7);
        const int stranger = openSocket(nullptr);
        const auto start = std::chrono::steady_clock::now();
        for (int n = 0; n < kGarbageDatagrams; ++n) {
            std::vector<std::uint8_t> bytes(1 + random() % 1400);
            for (auto& byte : bytes)
                byte = static_cast<std::uint8_t>(random());
            sendTo(stranger, macPort, bytes);
            pace(n, 50000, start);
        }
        ::close(stranger);
        std::vector<int> sockets;
        for (int n = 0; n < kStrangers; ++n) {
            std::uint16_t port = 0;
            const int fd = openSocket(&port);
            sendTo(fd, macPort,
                   encodeMessage("/ping",
                                 {OSCArgument::int32(port), OSCArgument::string("Stranger")}));
            sockets.push_back(fd);
            if (sockets.size() >= 500) {
                for (int open : sockets)
                    ::close(open);
                sockets.clear();
            }
        }
        for (int open : sockets)
            ::close(open);
        sendTo(iPad, macPort, ping);
        std::printf("strangers: peak              %7.1f MiB (%d garbage, %d pinging sockets)\n",
                    sampler.takePeak(), kGarbageDatagrams, kStrangers);
    }
    std::this_thread::sleep_for(std::chrono::seconds(4));
    sendTo(iPad, macPort, ping);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const double after = residentMiB(child);
    std::printf("5 s after                    %7.1f MiB (%+.1f MiB over the baseline)\n", after,
                after - baseline);

    ::kill(child, SIGINT);
    int status = 0;
    ::waitpid(child, &status, 0);
    ::close(iPad);
    std::filesystem::remove_all(home);
    return 0;
}
