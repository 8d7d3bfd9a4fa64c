#include "host/local/temporary_name.h"

#include <fmt/format.h>

#include <cstdint>

namespace ftp_host {
namespace {

// Without a leading dot: some servers do not list such names, and what is not listed cannot be cleaned up.
constexpr std::string_view kTemporaryPrefix = "ftp-host-";
constexpr std::string_view kTemporarySuffix = ".part";
constexpr std::size_t kHashDigits = 16;

std::string hash_text(std::string_view text) {  // FNV-1a, 64 bits
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  return fmt::format("{:016x}", hash);
}

bool is_hash(std::string_view text) {
  return text.size() == kHashDigits && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

std::string temporary_name(std::string_view name, std::string_view identity) {
  return fmt::format("{}{}-{}{}", kTemporaryPrefix, hash_text(name), hash_text(identity), kTemporarySuffix);
}

bool is_temporary_name(std::string_view name) {
  constexpr std::size_t kLength = kTemporaryPrefix.size() + 2 * kHashDigits + 1 + kTemporarySuffix.size();
  if (name.size() != kLength || !name.starts_with(kTemporaryPrefix) || !name.ends_with(kTemporarySuffix))
    return false;
  const std::string_view hashes = name.substr(kTemporaryPrefix.size(), 2 * kHashDigits + 1);
  return is_hash(hashes.substr(0, kHashDigits)) && hashes[kHashDigits] == '-' &&
         is_hash(hashes.substr(kHashDigits + 1));
}

bool is_temporary_name_of(std::string_view name, std::string_view of) {
  return is_temporary_name(name) && name.substr(kTemporaryPrefix.size(), kHashDigits) == hash_text(of);
}

}  // namespace ftp_host
