// Where the scripted FTP server waits until the test lets it go on.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

namespace fakes {

/// How long a wait lasts before it gives up. Generous: only a failing test waits for so long.
inline constexpr std::chrono::seconds kPatience{30};

/// Holds the commands that arrive at it until open() lets them go; from then on it holds nothing. Copies are
/// the same gate. Every function may be called from any thread.
class Gate {
 public:
  Gate();
  void open();
  /// Waits until `count` commands have arrived, the released ones included; false when kPatience is over.
  [[nodiscard]] bool await_arrivals(std::size_t count);
  /// Arrives, and waits until the gate is open.
  void pass() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace fakes
