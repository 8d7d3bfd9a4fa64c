// Options of libcurl that take values of their own type only. libcurl reads a value from its variable
// arguments, as wide as the option says: where it reads a long, half of what it gets for an int is garbage.
#pragma once

#include <curl/curl.h>

#include <concepts>
#include <type_traits>

namespace ftp_plugin {

/// What libcurl's variable arguments take: a long, a curl_off_t, or some pointer.
template <class Value>
concept option_value = std::same_as<Value, long> || std::same_as<Value, curl_off_t> ||
    std::is_pointer_v<Value> || std::is_null_pointer_v<Value>;

/// Whether `option` takes a `Value`. libcurl numbers its options by the kind of their values.
template <option_value Value>
[[nodiscard]] constexpr bool takes(CURLoption option) noexcept {
  const int kind = option / CURLOPTTYPE_OBJECTPOINT * CURLOPTTYPE_OBJECTPOINT;
  if (kind == CURLOPTTYPE_LONG) return std::is_same_v<Value, long>;
  if (kind == CURLOPTTYPE_OFF_T) return std::is_same_v<Value, curl_off_t>;
  if (std::is_null_pointer_v<Value>) return true;
  const bool is_function = std::is_function_v<std::remove_pointer_t<Value>>;
  return std::is_pointer_v<Value> && is_function == (kind == CURLOPTTYPE_FUNCTIONPOINT);
}

/// An option that takes each of `Values`; any other does not compile.
template <class... Values>
class option_for {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): written as the bare option
  consteval option_for(CURLoption option) : option_{option} {
    if (!(takes<Values>(option) && ...)) throw "this option takes a value of another type";
  }
  [[nodiscard]] constexpr CURLoption get() const noexcept { return option_; }

 private:
  CURLoption option_;
};

}  // namespace ftp_plugin
