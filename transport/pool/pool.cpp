#include "transport/pool/pool.h"

#include <utility>

#include "transport/limits.h"

namespace ftp_plugin {

std::shared_ptr<connection> pool::pop_con() {
  const std::lock_guard guard{lock_};
  std::shared_ptr<connection> con;
  if (!idle_.empty()) {
    con = std::move(idle_.front());
    idle_.pop_front();
  } else {
    con = std::make_shared<connection>(server_);
    (void)con->connect();  // a failed login is told by a missing handle
  }
  if (CURL* curl = con->GETCURL()) curl_easy_setopt(curl, CURLOPT_URL, con->get_url().c_str());
  return con;
}

void pool::push_con(std::shared_ptr<connection> con) {
  const std::lock_guard guard{lock_};
  if (idle_.size() < kIdleLimit) {
    idle_.push_back(std::move(con));
  } else {
    con->close();
  }
}

std::int32_t pool::init() {
  while (static_cast<std::int32_t>(idle_.size()) < min_connections_) {
    idle_.push_back(std::make_shared<connection>(server_));
  }
  return static_cast<std::int32_t>(idle_.size());
}

void pool::destroy() {
  const std::lock_guard guard{lock_};
  for (const auto& con : idle_) con->close();
  idle_.clear();
}

}  // namespace ftp_plugin
