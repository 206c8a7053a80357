// vellum-printer's speed next to a plain TCP sink that reads and throws away
// the same bytes, in the same run: received MB/s and labels/s, and their
// ratio. Run: build/bench/vellum_printer_bench [DIR]; the labels are written
// under DIR (default: /dev/shm when it exists, so that the figures are the
// program's and not the disk's). VELLUM_BENCH_FILTER=TEXT runs only the
// cases whose names hold TEXT.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "vprinter/server.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;
using namespace Corvane::VirtualPrinter;

int Connect(std::uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    std::perror("connect");
    std::exit(1);
  }
  return fd;
}

// Sends `stream` over each of `connections` connections at once.
void SendAll(std::uint16_t port, const std::string& stream, int connections) {
  std::vector<std::thread> clients;
  for (int i = 0; i < connections; ++i) {
    clients.emplace_back([&] {
      const int fd = Connect(port);
      for (std::size_t sent = 0; sent < stream.size();) {
        const ssize_t n = send(fd, stream.data() + sent, stream.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<std::size_t>(n);
      }
      close(fd);
    });
  }
  for (std::thread& client : clients) client.join();
}

// Seconds for a plain sink to receive the stream over the connections.
double Sink(const std::string& stream, int connections) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
  listen(listener, 64);
  socklen_t length = sizeof address;
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  std::thread server([&] {
    std::vector<std::thread> readers;
    for (int i = 0; i < connections; ++i) {
      const int fd = accept(listener, nullptr, nullptr);
      readers.emplace_back([fd] {
        std::vector<char> buffer(256 * 1024);
        while (recv(fd, buffer.data(), buffer.size(), 0) > 0) {
        }
        close(fd);
      });
    }
    for (std::thread& reader : readers) reader.join();
  });
  const auto start = Clock::now();
  SendAll(ntohs(address.sin_port), stream, connections);
  server.join();
  close(listener);
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Seconds for vellum-printer to receive the stream over the connections and
// print every label in it.
double Printer(const fs::path& directory, const std::string& stream, int connections,
               std::uint64_t labels, bool previews, bool png) {
  fs::remove_all(directory);
  ServerOptions options;
  options.port = "0";
  options.output = directory;
  options.previews = previews;
  options.png = png;
  options.maxPayloadBytes = std::uint64_t{4} << 20;
  std::ofstream log("/dev/null");
  Server server(options, log);
  server.Start();
  std::thread loop([&] { server.Run(); });
  const auto start = Clock::now();
  SendAll(server.Port(), stream, connections);
  while (server.State().Printed() < labels) std::this_thread::sleep_for(std::chrono::microseconds(200));
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  server.Stop();
  loop.join();
  fs::remove_all(directory);
  return seconds;
}

// A job of about a megabyte: a raw graphic of 4000 x 2000 dots in the long
// form, then the issue command.
std::string MegabyteJob() {
  const std::uint32_t size = 500 * 2000;
  std::string job = "{D2600,5100,2500|}\n{C|}\n{SG0;0000,0000,4000,2000,1,";
  for (int shift = 24; shift >= 0; shift -= 8) job.push_back(static_cast<char>(size >> shift));
  job.push_back('\0');
  for (std::uint32_t i = 0; i < size; ++i) job.push_back(static_cast<char>(i * 2654435761u >> 24));
  return job + "|}\n{XS;I,0001,0002C3000|}\n";
}

std::string SmallJob() {
  std::ifstream in(fs::path(VELLUM_SOURCE_DIR) / "samples" / "small_label.prn", std::ios::binary);
  std::stringstream job;
  job << in.rdbuf();
  return job.str();
}

std::string Repeated(const std::string& job, int times) {
  std::string stream;
  stream.reserve(job.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) stream += job;
  return stream;
}

struct Case {
  const char* name;
  std::string job;
  int jobsPerConnection;
  int connections;
  bool previews;
  bool png;
};

}  // namespace

int main(int argc, char** argv) {
  const fs::path base = argc > 1 ? fs::path(argv[1])
                        : fs::is_directory("/dev/shm") ? fs::path("/dev/shm")
                                                       : fs::temp_directory_path();
  const fs::path directory = base / ("vellum-printer-bench-" + std::to_string(getpid()));
  const Case cases[] = {
      {"1 MB jobs, previews off, 1 connection", MegabyteJob(), 200, 1, false, false},
      {"1 MB jobs, previews off, 4 connections", MegabyteJob(), 50, 4, false, false},
      {"small labels, TIFF, 1 connection", SmallJob(), 4000, 1, true, false},
      {"small labels, TIFF, 8 connections", SmallJob(), 500, 8, true, false},
      {"small labels, TIFF and PNG, 8 connections", SmallJob(), 500, 8, true, true},
  };
  std::printf("labels written under %s\n", base.c_str());
  std::printf("%-44s %10s %10s %10s %8s %10s\n", "case", "sink MB/s", "ours MB/s", "labels/s",
              "ratio", "goal");
  const char* filter = std::getenv("VELLUM_BENCH_FILTER");
  for (const Case& c : cases) {
    if (filter != nullptr && std::string(c.name).find(filter) == std::string::npos) continue;
    const std::string stream = Repeated(c.job, c.jobsPerConnection);
    const double megabytes = static_cast<double>(stream.size()) * c.connections / 1e6;
    const std::uint64_t labels = static_cast<std::uint64_t>(c.jobsPerConnection) * c.connections;
    const double sink = Sink(stream, c.connections);
    const double ours = Printer(directory, stream, c.connections, labels, c.previews, c.png);
    const double ratio = sink / ours;
    const bool big = c.job.size() > 100000;
    std::printf("%-44s %10.0f %10.0f %10.0f %8.2f %10s\n", c.name, megabytes / sink,
                megabytes / ours, static_cast<double>(labels) / ours, ratio,
                big ? (ratio >= 0.5 ? "met" : "MISSED")
                    : (static_cast<double>(labels) / ours >= 1000 ? "met" : "MISSED"));
  }
  return 0;
}
