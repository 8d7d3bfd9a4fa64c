// Warm requests of the built plug-in against real servers, plain and over TLS: ranged reads, listings and
// commands without a body. Shows that none of them stalls: no request of a kind may take longer than 20 times
// the median of its kind. For comparison the same listing through bare libcurl (curl_easy_perform), in the
// same run against the same server. Exit code 1 when a limit is broken.
//
// usage: read_bench [requests of each kind, 1000]

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/fakes/host.h"
#include "tests/fakes/plugin.h"
#include "tests/servers/daemons.h"

namespace {

using fakes::ScopedProtocol;
using servers::Daemon;

constexpr double kMostTimesMedian = 20;
constexpr int kBareRequests = 50;  // some of them stall for a second
constexpr std::size_t kFileSize = 256 * 1024;

struct Figures {
  double median_ms;
  double slowest_ms;
};

/// Runs `request` `count` times after a first one that does not count.
Figures measure(int count, const std::function<void()>& request) {
  request();
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    const auto start = std::chrono::steady_clock::now();
    request();
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(times.begin(), times.end());
  return {times[times.size() / 2], times.back()};
}

void demand(bool holds, const char* what) {
  if (!holds) throw std::runtime_error{what};
}

/// One line of the table; false when a request stalled.
bool report(const char* road, const char* kind, int count, const Figures& figures) {
  const double ratio = figures.slowest_ms / figures.median_ms;
  std::printf("%-9s %-22s %6d %10.3f %10.3f %8.1f\n", road, kind, count, figures.median_ms,
              figures.slowest_ms, ratio);
  std::fflush(stdout);
  return ratio <= kMostTimesMedian;
}

std::size_t discard(char*, std::size_t size, std::size_t count, void*) { return size * count; }

Figures bare_listing(const Daemon& server) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl{curl_easy_init(), &curl_easy_cleanup};
  std::string url = server.url();
  if (url.starts_with("ftps://")) {
    url.replace(0, 7, "ftp://");
    curl_easy_setopt(curl.get(), CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_TRY));
  }
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_USERNAME, server.user().c_str());
  curl_easy_setopt(curl.get(), CURLOPT_PASSWORD, server.password().c_str());
  curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(curl.get(), CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_MAX_TLSv1_2));
  curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, "MLSD");
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &discard);
  return measure(kBareRequests,
                 [&] { demand(curl_easy_perform(curl.get()) == CURLE_OK, "bare listing failed"); });
}

/// A logged-in object at `server`.
void log_in(ScopedProtocol& protocol, const Daemon& server) {
  const std::string login = fakes::login_document(server.url(), server.user(), server.password());
  demand(protocol->Connect(nullptr, login.c_str()) == SUCCESS, "login failed");
}

/// Every ranged FTP read costs its control connection, so each logs in. ProFTPD takes 200 ms for a greeting
/// now and then, whoever asks; vsftpd does not.
bool bench_reads(const char* road, servers::Tls tls, int count) {
  Daemon server = servers::start_vsftpd({.tls = tls});
  server.add_file("file.bin", std::string(kFileSize, 'x'));
  ScopedProtocol protocol;
  log_in(protocol, server);
  const auto handle = std::make_shared<_FS_HANDLE>();
  return report(road, "read 256 KiB, log in", count, measure(count, [&] {
                  fakes::FetchSink sink;
                  demand(protocol->Read("/file.bin", 0, kFileSize, handle, &sink, nullptr) == SUCCESS,
                         "read failed");
                }));
}

bool bench_commands(const char* road, servers::Tls tls, int count) {
  Daemon server = servers::start_proftpd({.tls = tls});
  server.add_file("file.bin", std::string(kFileSize, 'x'));
  ScopedProtocol protocol;
  log_in(protocol, server);
  bool good = report(road, "listing", count, measure(count, [&] {
                       fakes::FileList list;
                       demand(protocol->GetFileList("/", &list, nullptr) == SUCCESS, "listing failed");
                     }));
  const std::string time = "2024-01-02T03:04:05.000Z";
  _FS_FILE_V2 record;
  good =
      report(road, "set time", count,
             measure(count,
                     [&] {
                       demand(protocol->SetFileTime("/file.bin", "", time, time, &record, nullptr) == SUCCESS,
                              "set time failed");
                     })) &&
      good;
  report(road, "listing, bare libcurl", kBareRequests, bare_listing(server));
  return good;
}

bool bench(const char* road, servers::Tls tls, int count) {
  const bool reads = bench_reads(road, tls, count);
  return bench_commands(road, tls, count) && reads;
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 1000;
  std::printf("%-9s %-22s %6s %10s %10s %8s\n", "road", "request", "count", "median ms", "slowest ms",
              "ratio");
  try {
    const bool plain = bench("FTP", servers::Tls::kNone, count);
    const bool tls = bench("FTPS", servers::Tls::kExplicit, count);
    if (plain && tls) return 0;
    std::fprintf(stderr, "a request took longer than %.0f times the median of its kind\n", kMostTimesMedian);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "read_bench: %s\n", error.what());
  }
  return 1;
}
