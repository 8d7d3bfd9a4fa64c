#include "tests/fakes/ftp_fault.h"

#include <strings.h>

#include <utility>

#include "tests/fakes/ftp_fault_rule.h"
#include "tests/fakes/ftp_server_state.h"

namespace fakes {

bool FaultRule::matches(const std::string& command, int number) const {
  if (left == 0 || (connection != 0 && connection != number)) return false;
  if (::strncasecmp(command.c_str(), pattern.c_str(), pattern.size()) != 0) return false;
  const bool verb_only = pattern.find(' ') == std::string::npos;
  return !verb_only || command.size() == pattern.size() || command[pattern.size()] == ' ';
}

Fault::Fault(FtpServerState& server, std::string pattern)
    : server_{server}, rule_{std::make_unique<FaultRule>()} {
  rule_->pattern = std::move(pattern);
}

Fault::~Fault() {
  server_.with([&] {
    for (const auto& gate : {rule_->gate, rule_->extra_gate, rule_->data_gate}) {
      if (gate) server_.gates.push_back(*gate);
    }
    server_.rules.push_back(std::move(*rule_));
  });
}

Fault& Fault::reply(std::string text) { return rule_->reply = std::move(text), *this; }
Fault& Fault::extra(std::string bytes) { return rule_->extra = std::move(bytes), *this; }
Fault& Fault::extra(std::string bytes, const Gate& gate) {
  rule_->extra_gate = gate;
  return extra(std::move(bytes));
}
Fault& Fault::delay(std::chrono::milliseconds pause) { return rule_->delay = pause, *this; }
Fault& Fault::hold(const Gate& gate) { return rule_->gate = gate, *this; }
Fault& Fault::hang_up() { return rule_->hang_up = true, *this; }
Fault& Fault::hang_up_after_reply() { return rule_->hang_up_after_reply = true, *this; }
Fault& Fault::silence() { return rule_->silence = true, *this; }
Fault& Fault::stay() { return rule_->stay = true, *this; }
Fault& Fault::closing(std::string text) { return rule_->closing = std::move(text), *this; }
Fault& Fault::lose() { return rule_->lose = true, *this; }
Fault& Fault::times(int count) { return rule_->left = count, *this; }
Fault& Fault::on_connection(int number) { return rule_->connection = number, *this; }

Fault& Fault::end_data_after(std::size_t count) {
  rule_->data_end = FaultRule::DataEnd::early;
  rule_->data_limit = count;
  return *this;
}

Fault& Fault::break_data_after(std::size_t count) {
  rule_->data_end = FaultRule::DataEnd::reset;
  rule_->data_limit = count;
  return *this;
}

Fault& Fault::hang_up_after_data(std::size_t count) {
  rule_->data_end = FaultRule::DataEnd::hang_up;
  rule_->data_limit = count;
  return *this;
}

Fault& Fault::hold_data_after(std::size_t count, const Gate& gate) {
  rule_->data_gate = gate;
  rule_->data_gate_at = count;
  return *this;
}

}  // namespace fakes
