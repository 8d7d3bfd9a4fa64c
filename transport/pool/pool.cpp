#include "transport/pool/pool.h"

#include <utility>

#include "transport/limits.h"

namespace ftp_plugin {

std::shared_ptr<connection> pool::pop_con() {
  std::shared_ptr<connection> con = take_idle();
  if (con == nullptr) {
    con = std::make_shared<connection>(server_);
    (void)con->connect();  // a failed login is told by a missing handle
  }
  if (CURL* curl = con->GETCURL()) curl_easy_setopt(curl, CURLOPT_URL, con->get_url().c_str());
  return con;
}

std::shared_ptr<connection> pool::take_idle() {
  const std::lock_guard guard{lock_};
  if (idle_.empty()) return nullptr;
  std::shared_ptr<connection> con = std::move(idle_.front());
  idle_.pop_front();
  return con;
}

void pool::push_con(std::shared_ptr<connection> con) {
  {
    const std::lock_guard guard{lock_};
    if (idle_.size() < kIdleLimit) {
      idle_.push_back(std::move(con));
      return;
    }
  }
  con->close();
}

std::int32_t pool::init() {
  while (static_cast<std::int32_t>(idle_.size()) < min_connections_) {
    idle_.push_back(std::make_shared<connection>(server_));
  }
  return static_cast<std::int32_t>(idle_.size());
}

void pool::destroy() {
  std::list<std::shared_ptr<connection>> all;
  {
    const std::lock_guard guard{lock_};
    all.swap(idle_);
  }
  for (const auto& con : all) con->close();
}

}  // namespace ftp_plugin
