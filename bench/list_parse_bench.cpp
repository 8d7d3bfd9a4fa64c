// What a listing costs from the reply's bytes to the delivered records: processor time per line, its growth
// with the length of the listing, and the memory at the peak. No server and no logger take part. Ends with 1
// when one of the limits below is broken. Each figure comes from a process of its own.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "listing/delivery.h"
#include "transport/byte_sink.h"

namespace {

constexpr double kMostMicrosecondsPerLine = 3.0;
constexpr double kMostGrowth = 0.10;       // of the time per line, between the listings' lengths
constexpr double kMostMemory = 2.5;        // times the listing
constexpr std::size_t kPiece = 16 * 1024;  // what a transfer hands over at once
constexpr std::array<std::size_t, 3> kLengths = {10'000, 100'000, 1'000'000};

/// Writes listings of about 80 bytes a line, the same ones each time.
class Source {
 public:
  Source(bool mlsd, std::size_t lines) : mlsd_{mlsd}, lines_{lines} {}

  /// Fills `piece` with the next bytes of the reply; false at its end.
  bool next(std::string& piece) {
    piece.swap(rest_);
    rest_.clear();
    while (piece.size() < kPiece && line_ < lines_) append_line(piece);
    if (piece.size() > kPiece) {
      rest_.assign(piece, kPiece);
      piece.resize(kPiece);
    }
    return !piece.empty();
  }

 private:
  void append_line(std::string& text) {
    constexpr const char* kNames[] = {"quarterly report", "IMG",   "Übersicht Größen", "backup-of-home",
                                      "東京の写真",       "notes", "läuft.später",     "dataset.part"};
    constexpr const char* kSuffixes[] = {".txt", ".jpg", ".pdf", ".tar.gz"};
    constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto n = static_cast<unsigned>(line_++);
    const unsigned mixed = n * 2654435761U;
    const bool directory = mixed % 16 == 0;
    const unsigned size = directory ? 4096 : mixed % 100'000'000;
    const unsigned month = mixed / 7 % 12;
    const unsigned day = mixed / 97 % 28 + 1;
    const char* name = kNames[mixed / 16 % 8];
    const char* suffix = directory ? "" : kSuffixes[mixed / 128 % 4];
    std::array<char, 256> line{};
    if (mlsd_) {
      std::snprintf(line.data(), line.size(),
                    "type=%s;size=%u;modify=20%02u%02u%02u%02u%02u%02u;unique=801U%x; %s %06u%s\r\n",
                    directory ? "dir" : "file", size, mixed / 11 % 25, month + 1, day, mixed / 13 % 24,
                    mixed / 17 % 60, mixed / 19 % 60, n, name, n, suffix);
    } else {
      std::array<char, 16> time{};
      if (mixed / 1024 % 2 == 0) {
        std::snprintf(time.data(), time.size(), "%02u:%02u", mixed / 13 % 24, mixed / 17 % 60);
      } else {
        std::snprintf(time.data(), time.size(), " 20%02u", mixed / 11 % 25);
      }
      std::snprintf(line.data(), line.size(), "%s   1 alice    staff    %12u %s %2u %s %s %06u%s\r\n",
                    directory ? "drwxr-xr-x" : "-rw-r--r--", size, kMonths[month], day, time.data(), name, n,
                    suffix);
    }
    text += line.data();
  }

  const bool mlsd_;
  const std::size_t lines_;
  std::size_t line_ = 0;
  std::string rest_;
};

class CountingList final : public IFileList {
 public:
  int AddFile(_FS_FILE_V2* file) override {
    ++records;
    complete += file->attr != 0 && !file->name.empty() && file->modify_time.size() == 24;
    return 0;
  }
  std::size_t records = 0;
  std::size_t complete = 0;
};

/// The listing as a transfer collects it, piece by piece, and as read_dir hands it on.
class Listing {
 public:
  void append(std::string& piece) {
    if (ftp_plugin::write_vector_char(piece.data(), 1, piece.size(), &bytes_) != piece.size()) std::abort();
  }
  void close() { text_ = bytes_.release_text(); }
  void deliver(bool mlsd, IFileList& list) const {
    const std::string charset;  // the locale's, as in the plug-in
    std::atomic<bool> vxworks{false};
    ftp_plugin::deliver_listing(text_.get(), {.path = "/some/remote/directory",
                                              .is_mlsd = mlsd,
                                              .is_sftp = false,
                                              .names_are_utf8 = false,
                                              .server_charset = charset,
                                              .vxworks_server = vxworks,
                                              .list = &list,
                                              .find_name = nullptr,
                                              .found = nullptr});
  }

 private:
  ftp_plugin::byte_vector bytes_;
  ftp_plugin::malloc_block text_;
};

void check(const CountingList& list, std::size_t lines) {
  if (list.records == lines && list.complete == lines) return;
  std::fprintf(stderr, "%zu lines gave %zu records, %zu of them complete\n", lines, list.records,
               list.complete);
  std::exit(2);
}

double processor_seconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// One run on bytes that are there already.
double microseconds_per_line(bool mlsd, std::vector<std::string>& pieces, std::size_t lines) {
  CountingList list;
  const double start = processor_seconds();
  {
    Listing listing;
    for (std::string& piece : pieces) listing.append(piece);
    listing.close();
    listing.deliver(mlsd, list);
  }
  const double used = processor_seconds() - start;
  check(list, lines);
  return used * 1e6 / static_cast<double>(lines);
}

double kilobytes_of(const char* field) {
  std::ifstream status{"/proc/self/status"};
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field, 0) == 0) return std::strtod(line.c_str() + std::strlen(field), nullptr);
  }
  std::exit(2);
}

/// The peak above the start, in times of the listing's size. The bytes are made piece by piece meanwhile.
double memory_factor(bool mlsd, std::size_t lines) {
  std::string piece;
  piece.reserve(2 * kPiece);
  CountingList list;
  const double start = kilobytes_of("VmRSS:");
  double bytes = 0;
  {
    Source source{mlsd, lines};
    Listing listing;
    while (source.next(piece)) {
      bytes += static_cast<double>(piece.size());
      listing.append(piece);
    }
    listing.close();
    listing.deliver(mlsd, list);
  }
  const double peak = kilobytes_of("VmHWM:");
  check(list, lines);
  return (peak - start) * 1024 / bytes;
}

/// Runs `measure` in a child process and brings its answer back.
template <class Measure>
double in_a_child(Measure&& measure) {
  std::array<int, 2> channel{};
  if (pipe(channel.data()) != 0) std::exit(2);
  const pid_t child = fork();
  if (child < 0) std::exit(2);
  if (child == 0) {
    const double answer = measure();
    const bool written = write(channel[1], &answer, sizeof answer) == sizeof answer;
    _exit(written ? 0 : 2);
  }
  close(channel[1]);
  double answer = 0;
  const bool complete = read(channel[0], &answer, sizeof answer) == sizeof answer;
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!complete || status != 0) std::exit(2);
  return answer;
}

std::vector<std::string> pieces_of(bool mlsd, std::size_t lines) {
  std::vector<std::string> pieces;
  Source source{mlsd, lines};
  for (std::string piece; source.next(piece);) pieces.push_back(piece);
  return pieces;
}

/// The best of several runs. Each is in a process of its own: a second run in the same one would find the
/// memory of the first, which a long listing's memory is given back too early for.
double best_time(bool mlsd, std::size_t lines) {
  std::vector<std::string> pieces = pieces_of(mlsd, lines);
  const std::size_t runs = std::clamp<std::size_t>(2'000'000 / lines, 9, 100);
  double best = 1e9;
  for (std::size_t run = 0; run < runs; ++run) {
    best = std::min(best, in_a_child([&] { return microseconds_per_line(mlsd, pieces, lines); }));
  }
  return best;
}

double bytes_per_line(bool mlsd, std::size_t lines) {
  Source source{mlsd, lines};
  double bytes = 0;
  for (std::string piece; source.next(piece);) bytes += static_cast<double>(piece.size());
  return bytes / static_cast<double>(lines);
}

}  // namespace

int main() {
  std::setlocale(LC_ALL, "C.UTF-8");
  // What a process loads once (conversion, time zone) is there before anything is measured.
  for (const bool mlsd : {true, false}) {
    std::vector<std::string> pieces = pieces_of(mlsd, 100);
    (void)microseconds_per_line(mlsd, pieces, 100);
  }
  bool broken = false;
  std::printf("form      lines  bytes/line  us/line  memory/listing\n");
  for (const bool mlsd : {true, false}) {
    double shortest = 0;
    double fastest = 1e9;
    double slowest = 0;
    for (const std::size_t lines : kLengths) {
      const double time = best_time(mlsd, lines);
      const double memory = in_a_child([&] { return memory_factor(mlsd, lines); });
      std::printf("%s %10zu  %10.1f  %7.3f  %14.2f\n", mlsd ? "MLSD" : "LIST", lines,
                  bytes_per_line(mlsd, lines), time, memory);
      std::fflush(stdout);
      broken = broken || time > kMostMicrosecondsPerLine || memory > kMostMemory;
      if (shortest == 0) shortest = time;
      fastest = std::min(fastest, time);
      slowest = std::max(slowest, time);
    }
    const double growth = slowest / shortest - 1;
    std::printf("%s time per line grows by %.1f %%\n", mlsd ? "MLSD" : "LIST", growth * 100);
    broken = broken || growth > kMostGrowth;
  }
  std::printf(broken ? "a limit is broken\n" : "within the limits\n");
  return broken ? 1 : 0;
}
