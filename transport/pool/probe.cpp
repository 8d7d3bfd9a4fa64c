#include "transport/pool/probe.h"

#include <utility>

#include "transport/ftp/reply_lines.h"

namespace ftp_plugin {

probe::probe(connection& con, std::string command) : con_{con}, command_{std::move(command)} {
  add(commands_, "*" + command_);
  con_.listen(this);
}

probe::~probe() { con_.listen(nullptr); }

void probe::sent(std::string_view command) noexcept { answer_is_due_ = command.starts_with(command_); }

bool probe::heard(std::string_view line) noexcept {
  if (ends_reply(line) && std::exchange(answer_is_due_, false)) refused_ = line[0] >= '4';
  return true;
}

}  // namespace ftp_plugin
