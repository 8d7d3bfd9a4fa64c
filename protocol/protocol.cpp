#include "protocol/protocol.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "boundary/host_bindings.h"
#include "boundary/no_throw.h"
#include "common/iconv_list.h"
#include "protocol/field_descriptors.h"

namespace ftp_plugin {
namespace {

constexpr int kAuthType = 4;
constexpr int kManagerValueSize = 256;
constexpr const char* kManagerKey = "ftp.dll_1.0.6.0";

/// The text that the manager returns for our key; its result code is ignored.
std::string ask_manager(IProtocolManager& manager) {
  char buffer[kManagerValueSize + 1] = {};  // one more: the text ends even if the manager filled it all
  int size = kManagerValueSize;
  manager.QueryValue(kManagerKey, buffer, &size);
  return buffer;
}

}  // namespace

Protocol::Protocol(const char* name, IProtocolManager* host_manager)
    : protocol_name{name}, manager{host_manager} {
  if (manager != nullptr) manager_value = ask_manager(*manager);
  iconvlist(&do_print, this);
}

int do_print(unsigned int count, const char* const* names, void* data) {
  auto& charset_names = static_cast<Protocol*>(data)->charset_names;
  for (unsigned int i = 0; i < count; ++i) charset_names.emplace_back(names[i]);
  return 0;
}

void Protocol::Release() {
  // The interfaces have no virtual destructor and a subclass may override operations but owns nothing more:
  // destroy and free what `new` made.
  this->Protocol::~Protocol();
  ::operator delete(this);
}

server_view Protocol::view() {
  const auto text = [this](const char* name) {
    const std::string* found = find_setting(options, name);
    return found == nullptr ? std::string_view{} : std::string_view{*found};
  };
  path_rules paths{.root_path = text(key::root_path)};
  if (kind_of(options) == server_kind::kFtp) paths.origin = path_origin::kLoginDirectory;
  if (starts_at_home()) paths.origin = path_origin::kHomeDirectory;
  return {.connections = connections,
          .is_sftp = is_sftp(),
          .url = text(key::url),
          .paths = paths,
          .speed_limit = speed_limit,
          .server_charset = server_charset,
          .names_are_utf8 = connections != nullptr && connections->utf8(),
          .vxworks_server = vxworks_server,
          .file_time_mode = file_time_mode};
}

AERROR Protocol::GetUserInfo(char* buffer, int* size) {
  return no_throw("GetUserInfo", FAILED, [&] {
    const std::string root = full_path(std::string{view().url}, "");
    if (*size <= 0 || static_cast<std::size_t>(*size) <= root.size()) return INSUFFICIENT_BUFFER;
    std::memcpy(buffer, root.c_str(), root.size() + 1);
    return SUCCESS;
  });
}

AERROR Protocol::GetQuota(unsigned long long* total, unsigned long long* free) {
  if (quota_callback != nullptr) {
    long long all = 0;
    long long used = 0;
    if (no_throw("GetQuota", false, [&] { return quota_callback(quota_context, this, &all, &used); })) {
      quota_total = static_cast<unsigned long long>(all);
      quota_free = quota_total - static_cast<unsigned long long>(used);
    }
  }
  if (total != nullptr) *total = quota_total;
  if (free != nullptr) *free = quota_free;
  return SUCCESS;
}

AERROR Protocol::SetQuota(unsigned long long total, unsigned long long free) {
  quota_total = total;
  quota_free = free;
  return SUCCESS;
}

AERROR Protocol::GetType(char** type) {
  *type = const_cast<char*>(kProtocolList);  // the host only reads it
  return SUCCESS;
}

AERROR Protocol::GetCredential(char*, int*) {
  return no_throw("GetCredential", FAILED, [&] {
    if (manager == nullptr) return FAILED;
    manager->PostValue(manager_value.c_str(), "pid", manager_value.c_str());
    return SUCCESS;
  });
}

void Protocol::SetQuotaCallback(void* context, QUOTA_CALLBACK callback) {
  quota_context = context;
  quota_callback = callback;
}

void Protocol::FreeMsg(char* message) { std::free(message); }

AERROR Protocol::GetIdentifier(char*, int*) { return SUCCESS; }

AERROR Protocol::GetRootID(char* buffer, int* size) {
  if (size == nullptr) return ACCESS_DENIED;
  constexpr int kLength = 0;  // the root's identifier is the empty text
  if (kLength > *size) return INSUFFICIENT_BUFFER;
  *buffer = '\0';
  *size = kLength;
  return SUCCESS;
}

AERROR Protocol::AddAuth(std::shared_ptr<IAuth>) { return SUCCESS; }

int Protocol::GetAuthType() { return kAuthType; }

AERROR Protocol::GetAuthFields(char* buffer, int* size) { return write_auth_fields(buffer, size); }

AERROR Protocol::GetOptFields(char* buffer, int* size) { return write_opt_fields(buffer, size); }

}  // namespace ftp_plugin
