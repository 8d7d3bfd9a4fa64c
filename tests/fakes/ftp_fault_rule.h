// One fault as the scripted FTP server keeps it; tests write them with ftp_fault.h.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "tests/fakes/ftp_gate.h"

namespace fakes {

struct FaultRule {
  std::string pattern;
  int connection = 0;  // 0: any
  int left = -1;       // negative: for ever

  std::optional<std::string> reply;
  std::string extra;
  std::optional<Gate> extra_gate;
  std::chrono::milliseconds delay{0};
  std::optional<Gate> gate;
  bool hang_up = false;
  bool hang_up_after_reply = false;
  bool silence = false;
  bool stay = false;

  enum class DataEnd { whole, early, reset, hang_up };
  DataEnd data_end = DataEnd::whole;
  std::optional<std::size_t> data_limit;
  std::optional<Gate> data_gate;
  std::size_t data_gate_at = 0;
  std::optional<std::string> closing;
  bool lose = false;

  /// Whether it applies to a command of the connection with this number.
  [[nodiscard]] bool matches(const std::string& command, int number) const;
};

}  // namespace fakes
