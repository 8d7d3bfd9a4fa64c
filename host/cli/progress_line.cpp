#include "host/cli/progress_line.h"

#include <fmt/format.h>
#include <utf8cpp/utf8.h>

#include <optional>
#include <string_view>

#include "host/cli/quantity_text.h"
#include "host/names.h"

namespace ftp_host {
namespace {

constexpr std::chrono::seconds kWindow{5};
constexpr std::chrono::seconds kLongWork{1};
constexpr std::chrono::milliseconds kRefresh{200};

/// One per character. `text` is UTF-8.
std::size_t columns(std::string_view text) {
  return static_cast<std::size_t>(utf8::unchecked::distance(text.begin(), text.end()));
}

/// The end of `text`, since the end of a path says more than its beginning.
std::string shortened(std::string_view text, std::size_t width) {
  constexpr std::string_view kDots = "...";
  const std::size_t whole = columns(text);
  if (whole <= width) return std::string{text};
  if (width <= kDots.size()) return {};
  auto start = text.begin();
  utf8::unchecked::advance(start, whole - (width - kDots.size()));
  return std::string{kDots}.append(start, text.end());
}

/// The files under way; with the share of each where it says more than that of the whole job.
std::string names_of(const Progress::Snapshot& now) {
  const bool shares = now.files.size() > 1 || now.files_total > 0;
  std::string names;
  for (const Progress::Snapshot::File& file : now.files) {
    if (!names.empty()) names += ", ";
    names += escape_for_terminal(file.name);
    if (shares && file.size > 0) names += fmt::format(" {}%", file.done * 100 / file.size);
  }
  return names;
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

std::string progress_text(const Progress::Snapshot& now, double rate, std::size_t width) {
  const auto done = static_cast<double>(now.done);
  const auto total = static_cast<double>(now.total);
  std::string rest;
  if (now.total > 0) rest += fmt::format("  {:3.0f}%", 100.0 * done / total);
  rest += "  " + byte_text(done);
  if (now.total >= 0) rest += " of " + byte_text(total);
  rest += "  " + byte_text(rate) + "/s";
  if (now.total >= 0) rest += "  " + duration_text(rate > 0 ? (total - done) / rate : -1) + " left";
  if (now.files_total > 0) {
    rest += fmt::format("  {}/{} files", now.files_done, now.files_total);
  } else if (now.files_done > 0) {
    rest += fmt::format("  {} files", now.files_done);
  }
  const std::size_t used = columns(rest);
  if (used >= width) return shortened(rest, width);
  return shortened(names_of(now), width - used) + rest;
}

ProgressLine::ProgressLine(Console& console, const Progress& progress)
    : console_{console}, progress_{progress} {
  if (console_.wants_progress()) shower_ = std::jthread{[this](const std::stop_token& stop) { show(stop); }};
}

ProgressLine::~ProgressLine() {
  if (!shower_.joinable()) return;
  shower_.request_stop();
  shower_.join();
  console_.show_progress("");
}

void ProgressLine::show(const std::stop_token& stop) {
  struct Job {
    Rate::Clock::time_point begin;
    Rate rate;
  };
  std::optional<Job> job;
  while (!stop.stop_requested()) {
    const Progress::Snapshot now = progress_.snapshot();
    const Rate::Clock::time_point time = Rate::Clock::now();
    if (!now.active) {
      if (job) console_.show_progress("");
      job.reset();
    } else {
      if (!job) job = Job{time, {}};
      job->rate.add(time, now.done - now.skipped);
      if (time - job->begin >= kLongWork && !stop.stop_requested()) {
        console_.show_progress(progress_text(now, job->rate.per_second(), console_.width() - 1));
      }
    }
    std::this_thread::sleep_for(kRefresh);
  }
}

}  // namespace ftp_host
