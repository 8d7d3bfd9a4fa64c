// Which values an option takes. Nothing here runs: a wrong answer does not compile.
#include "transport/curl_option.h"

#include <cstddef>
#include <string>

#include "transport/pool/transfer.h"

namespace ftp_plugin {
namespace {

enum number : int {};

static_assert(option_value<long> && option_value<curl_off_t>);
static_assert(option_value<const char*> && option_value<void*> && option_value<std::nullptr_t>);
static_assert(option_value<curl_write_callback>);
static_assert(!option_value<int> && !option_value<unsigned long> && !option_value<bool>);
static_assert(!option_value<number> && !option_value<double> && !option_value<std::string>);

static_assert(takes<long>(CURLOPT_NOBODY) && !takes<const char*>(CURLOPT_NOBODY));
static_assert(!takes<std::nullptr_t>(CURLOPT_NOBODY));
static_assert(takes<curl_off_t>(CURLOPT_INFILESIZE_LARGE) && !takes<void*>(CURLOPT_INFILESIZE_LARGE));
static_assert(takes<const char*>(CURLOPT_URL) && takes<std::nullptr_t>(CURLOPT_URL));
static_assert(!takes<long>(CURLOPT_URL) && !takes<curl_write_callback>(CURLOPT_URL));
static_assert(takes<curl_slist*>(CURLOPT_QUOTE) && takes<void*>(CURLOPT_WRITEDATA));
static_assert(takes<curl_write_callback>(CURLOPT_WRITEFUNCTION) && !takes<void*>(CURLOPT_WRITEFUNCTION));
static_assert(takes<std::nullptr_t>(CURLOPT_WRITEFUNCTION));

template <class Value>
concept can_set = requires(transfer& request, Value value) {
  request.set(CURLOPT_NOBODY, value, value);
};
template <class Value>
concept can_keep = requires(transfer& request, Value value) {
  request.keep(CURLOPT_NOBODY, value);
};
template <class Value>
concept can_clear = requires(transfer& request, Value value) {
  request.clear(CURLOPT_NOBODY, value);
};

static_assert(can_set<long> && can_keep<long> && can_clear<long>);
static_assert(!can_set<int> && !can_keep<int> && !can_clear<int>);
static_assert(!can_set<bool> && !can_keep<bool> && !can_clear<bool>);

}  // namespace
}  // namespace ftp_plugin
