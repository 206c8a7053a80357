// vellum-printer's speed next to a plain TCP sink that reads and throws away
// the same bytes, and one that stores them, in the same run: received MB/s
// and labels/s, and their ratios; the goals are half the sink's rate for 1 MB
// jobs (judged against the sink that stores, like for like) and 1000 small
// labels a second. Run: build/bench/vellum_printer_bench [DIR]; the labels are written
// under DIR (default: /dev/shm when it exists, so that the figures are the
// program's and not the disk's). VELLUM_BENCH_FILTER=TEXT runs only the
// cases whose names hold TEXT; VELLUM_BENCH_ROUNDS=N sets the rounds a case
// (default 5).
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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

// CPU seconds (user and system) of the calling thread, or of the whole
// process.
double CpuSeconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// What a run took: wall-clock seconds, and the CPU seconds of the receiving
// side alone (the process's, less the sending clients' threads).
struct Run {
  double seconds;
  double cpu;
};

// Sends `stream` over each of `connections` connections at once; returns the
// CPU seconds the clients' threads took.
double SendAll(std::uint16_t port, const std::string& stream, int connections) {
  std::vector<std::thread> clients;
  std::vector<double> cpu(static_cast<std::size_t>(connections));
  for (int i = 0; i < connections; ++i) {
    clients.emplace_back([&, i] {
      pthread_setname_np(pthread_self(), "client");
      const int fd = Connect(port);
      for (std::size_t sent = 0; sent < stream.size();) {
        const ssize_t n = send(fd, stream.data() + sent, stream.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<std::size_t>(n);
      }
      close(fd);
      cpu[static_cast<std::size_t>(i)] = CpuSeconds(RUSAGE_THREAD);
    });
  }
  for (std::thread& client : clients) client.join();
  double total = 0;
  for (const double seconds : cpu) total += seconds;
  return total;
}

// A plain sink receiving the stream over the connections, one thread a
// connection. With a directory, each thread also writes what it receives to a
// file of its own there, as the printer keeps every job it receives in files:
// that is the like-for-like reference for a printer that keeps what it gets.
Run Sink(const std::string& stream, int connections, const fs::path& store = {}) {
  if (!store.empty()) fs::create_directories(store);
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
      readers.emplace_back([fd, i, &store] {
        pthread_setname_np(pthread_self(), "sink");
        const int file = store.empty() ? -1
                                       : open((store / std::to_string(i)).c_str(),
                                              O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        std::vector<char> buffer(256 * 1024);
        for (ssize_t n; (n = recv(fd, buffer.data(), buffer.size(), 0)) > 0;) {
          if (file >= 0 && write(file, buffer.data(), static_cast<std::size_t>(n)) != n)
            std::abort();
        }
        if (file >= 0) close(file);
        close(fd);
      });
    }
    for (std::thread& reader : readers) reader.join();
  });
  const double cpuBefore = CpuSeconds(RUSAGE_SELF);
  const auto start = Clock::now();
  const double clients = SendAll(ntohs(address.sin_port), stream, connections);
  server.join();
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  const double cpu = CpuSeconds(RUSAGE_SELF) - cpuBefore - clients;
  close(listener);
  if (!store.empty()) fs::remove_all(store);
  return {seconds, cpu};
}

// vellum-printer receiving the stream over the connections and printing
// every label in it.
Run Printer(const fs::path& directory, const std::string& stream, int connections,
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
  std::thread loop([&] {
    pthread_setname_np(pthread_self(), "server");
    server.Run();
  });
  const double cpuBefore = CpuSeconds(RUSAGE_SELF);
  const auto start = Clock::now();
  const double clients = SendAll(server.Port(), stream, connections);
  while (server.State().Printed() < labels)
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  const double cpu = CpuSeconds(RUSAGE_SELF) - cpuBefore - clients;
  server.Stop();
  loop.join();
  fs::remove_all(directory);
  return {seconds, cpu};
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

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
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
  const fs::path base = argc > 1                       ? fs::path(argv[1])
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
  const char* roundsText = std::getenv("VELLUM_BENCH_ROUNDS");
  const int rounds = roundsText != nullptr ? std::max(1, std::atoi(roundsText)) : 5;
  std::printf(
      "Labels written under %s; %d rounds a case, the three sides taking turns to go first.\n"
      "sink: a thread a connection, reading into one buffer and throwing the bytes away;\n"
      "storing sink: the same, writing the bytes to a file a connection beside the labels.\n"
      "MB/s and labels/s are medians of wall-clock rates; a ratio is ours / the sink's rate,\n"
      "the median [lowest-highest round]; CPU: the sink's CPU time / ours on the receiving side.\n",
      base.c_str(), rounds);
  std::printf("%-42s %6s %7s %6s %8s %17s %17s %5s %6s\n", "case", "sink", "storing", "ours",
              "labels/s", "vs sink", "vs storing sink", "CPU", "goal");
  const char* filter = std::getenv("VELLUM_BENCH_FILTER");
  const fs::path store = directory.string() + "-sink";
  for (const Case& c : cases) {
    if (filter != nullptr && std::string(c.name).find(filter) == std::string::npos) continue;
    const std::string stream = Repeated(c.job, c.jobsPerConnection);
    const double megabytes = static_cast<double>(stream.size()) * c.connections / 1e6;
    const std::uint64_t labels = static_cast<std::uint64_t>(c.jobsPerConnection) * c.connections;
    std::vector<double> sinkRates, storingRates, ourRates, ratios, storingRatios, cpuRatios;
    for (int round = 0; round < rounds; ++round) {
      // Rotating which side goes first spreads a drift in the machine's load
      // over all three.
      Run sink{}, storing{}, ours{};
      for (int turn = 0; turn < 3; ++turn) {
        switch ((round + turn) % 3) {
          case 0:
            sink = Sink(stream, c.connections);
            break;
          case 1:
            storing = Sink(stream, c.connections, store);
            break;
          default:
            ours = Printer(directory, stream, c.connections, labels, c.previews, c.png);
        }
      }
      sinkRates.push_back(megabytes / sink.seconds);
      storingRates.push_back(megabytes / storing.seconds);
      ourRates.push_back(megabytes / ours.seconds);
      ratios.push_back(sink.seconds / ours.seconds);
      storingRatios.push_back(storing.seconds / ours.seconds);
      cpuRatios.push_back(sink.cpu / ours.cpu);
    }
    const auto spread = [](const std::vector<double>& values) {
      char text[64];
      std::snprintf(text, sizeof text, "%.2f [%.2f-%.2f]", Median(values),
                    *std::min_element(values.begin(), values.end()),
                    *std::max_element(values.begin(), values.end()));
      return std::string(text);
    };
    const double labelsPerSecond = Median(ourRates) / megabytes * static_cast<double>(labels);
    const bool big = c.job.size() > 100000;
    // The goal for large jobs is judged like for like: against the sink that
    // keeps what it receives, as the printer does.
    const char* goal = big ? (Median(storingRatios) >= 0.5 ? "met" : "MISSED")
                           : (labelsPerSecond >= 1000 ? "met" : "MISSED");
    std::printf("%-42s %6.0f %7.0f %6.0f %8.0f %17s %17s %5.2f %6s\n", c.name, Median(sinkRates),
                Median(storingRates), Median(ourRates), labelsPerSecond, spread(ratios).c_str(),
                spread(storingRatios).c_str(), Median(cpuRatios), goal);
  }
  return 0;
}
