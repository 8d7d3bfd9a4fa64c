#include "transport/pool/pool.h"
#include "transport/pool/probe.h"
#include "transport/pool/transfer.h"

namespace ftp_plugin {

bool pool::asks(const char* command, bool& accepted) {
  auto con = pop_con();
  if (con->GETCURL() == nullptr) return false;
  {
    const probe question{*con, command};
    const CURLcode code = transfer{*con}
                              .set(CURLOPT_QUOTE, question.commands(), nullptr)
                              .set(CURLOPT_NOBODY, 1L, 0L)
                              .run_once();
    accepted = question.judge(code) == CURLE_OK;
  }
  push_con(std::move(con));
  return true;
}

AERROR pool::TestConnect() {
  auto con = std::make_shared<connection>(server_);
  const AERROR result = con->connect();
  if (result != SUCCESS) return result;
  push_con(std::move(con));
  if (server_.kind != server_kind::kFtp) return SUCCESS;

  if (server_.charset == charset_choice::kLocal) {
    utf8_ = false;
  } else {
    if (!asks("OPTS UTF8 ON", utf8_)) return FAILED;
    if (server_.charset == charset_choice::kUtf8) utf8_ = true;  // even if the server refused the command
  }
  return asks("OPTS MLST type;unique;size;modify;", mlst_) ? SUCCESS : FAILED;
}

}  // namespace ftp_plugin
