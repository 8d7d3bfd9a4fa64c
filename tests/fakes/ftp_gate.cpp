#include "tests/fakes/ftp_gate.h"

#include <condition_variable>
#include <mutex>

namespace fakes {

struct Gate::State {
  std::mutex lock;
  std::condition_variable changed;
  std::size_t arrived = 0;
  bool opened = false;
};

Gate::Gate() : state_{std::make_shared<State>()} {}

void Gate::open() {
  const std::lock_guard guard{state_->lock};
  state_->opened = true;
  state_->changed.notify_all();
}

bool Gate::await_arrivals(std::size_t count) {
  std::unique_lock guard{state_->lock};
  return state_->changed.wait_for(guard, kPatience, [&] { return state_->arrived >= count; });
}

void Gate::pass() const {
  std::unique_lock guard{state_->lock};
  ++state_->arrived;
  state_->changed.notify_all();
  state_->changed.wait(guard, [this] { return state_->opened; });
}

}  // namespace fakes
