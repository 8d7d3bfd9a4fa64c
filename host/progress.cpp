#include "host/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "host/names.h"

namespace ftp_host {
namespace {

constexpr std::chrono::seconds kWindow{5};
constexpr std::chrono::seconds kLongWork{1};
constexpr std::chrono::milliseconds kRefresh{200};
constexpr double kLongestShown = 4 * 86400.0;

std::size_t columns(std::string_view text) {  // one per character: bytes that do not continue one
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0u) != 0x80u; }));
}

std::string shortened(std::string_view text, std::size_t width) {
  if (columns(text) <= width) return std::string{text};
  if (width < 4) return {};
  std::size_t cut = 0;  // the end of a path says more than its beginning
  while (columns(text.substr(cut)) > width - 3) ++cut;
  return "..." + std::string{text.substr(cut)};
}

}  // namespace

void Rate::add(Clock::time_point now, std::int64_t total) {
  if (!samples_.empty() && total < samples_.back().total) samples_.clear();
  samples_.push_back({now, total});
  while (samples_.size() > 2 && now - samples_[1].when >= kWindow) samples_.pop_front();
}

double Rate::per_second() const {
  if (samples_.size() < 2) return 0;
  const std::chrono::duration<double> time = samples_.back().when - samples_.front().when;
  if (time.count() <= 0) return 0;
  return static_cast<double>(samples_.back().total - samples_.front().total) / time.count();
}

std::string byte_text(double bytes) {
  constexpr std::array<const char*, 6> kUnits{"B", "KiB", "MiB", "GiB", "TiB", "PiB"};
  std::size_t unit = 0;
  while (bytes >= 999.5 && unit + 1 < kUnits.size()) {
    bytes /= 1024;
    ++unit;
  }
  return unit == 0 || bytes >= 99.95 ? fmt::format("{:.0f} {}", bytes, kUnits[unit])
                                     : fmt::format("{:.1f} {}", bytes, kUnits[unit]);
}

std::string duration_text(double seconds) {
  if (!(seconds >= 0) || seconds > kLongestShown) return "--:--";
  const long whole = std::lround(seconds);
  const long hours = whole / 3600;
  if (hours > 0) return fmt::format("{}:{:02}:{:02}", hours, whole / 60 % 60, whole % 60);
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

std::string progress_text(const ProgressState& state, std::size_t width) {
  std::string rest;
  if (state.total > 0) {
    rest +=
        fmt::format("  {:3.0f}%", 100.0 * static_cast<double>(state.done) / static_cast<double>(state.total));
  }
  rest += "  " + byte_text(static_cast<double>(state.done));
  if (state.total >= 0) rest += " of " + byte_text(static_cast<double>(state.total));
  rest += "  " + byte_text(state.rate) + "/s";
  if (state.total >= 0) {
    const double left = state.rate > 0 ? static_cast<double>(state.total - state.done) / state.rate : -1;
    rest += "  " + duration_text(left) + " left";
  }
  if (state.files_total > 0) {
    rest += fmt::format("  {}/{} files", state.files_done, state.files_total);
  } else if (state.files_done > 0) {
    rest += fmt::format("  {} files", state.files_done);
  }
  const std::size_t used = columns(rest);
  if (used >= width) return shortened(rest, width);
  return shortened(state.name, width - used) + rest;
}

Progress::Progress(Console& console) : console_{console} {
  if (console_.wants_progress()) shower_ = std::thread{[this] { show(); }};
}

Progress::~Progress() {
  stop_.store(true);
  if (shower_.joinable()) shower_.join();
  console_.show_progress("");
}

std::string Progress::current_name() {
  const std::lock_guard lock{mutex_};
  std::string names;
  for (const File* file : files_) {
    if (!names.empty()) names += ", ";
    names += escape_for_terminal(file->name_);
    if (files_.size() > 1 || files_total_.load() > 0) {
      if (file->size_ > 0) names += fmt::format(" {}%", file->done_.load() * 100 / file->size_);
    }
  }
  return names;
}

void Progress::show() {
  const Rate::Clock::time_point begin = Rate::Clock::now();
  Rate rate;
  rate.add(begin, 0);
  while (!stop_.load()) {
    std::this_thread::sleep_for(kRefresh);
    const Rate::Clock::time_point now = Rate::Clock::now();
    rate.add(now, done_.load() - skipped_.load());
    if (now - begin < kLongWork || stop_.load()) continue;
    ProgressState state;
    state.name = current_name();
    state.done = done_.load();
    state.total = total_.load();
    state.rate = rate.per_second();
    state.files_done = files_done_.load();
    state.files_total = files_total_.load();
    console_.show_progress(progress_text(state, console_.width() - 1));
  }
}

Progress::File::File(Progress& progress, std::string_view name, std::int64_t size)
    : progress_{progress}, name_{name}, size_{size} {
  const std::lock_guard lock{progress_.mutex_};
  progress_.files_.push_back(this);
}

Progress::File::~File() {
  const std::lock_guard lock{progress_.mutex_};
  std::erase(progress_.files_, this);
}

void Progress::File::moved(std::int64_t bytes) {
  done_.fetch_add(bytes);
  progress_.moved(bytes);
}

void Progress::File::skipped(std::int64_t bytes) {
  progress_.skipped_.fetch_add(bytes);
  moved(bytes);
}

}  // namespace ftp_host
