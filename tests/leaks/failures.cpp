#include "tests/leaks/failures.h"

#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

#undef curl_easy_setopt

namespace {

struct Countdown {
  std::size_t left = 0;  // 0: nothing fails
  bool happened = false;

  bool fails() {
    if (left == 0 || --left > 0) return false;
    happened = true;
    return true;
  }
};

thread_local Countdown memory;
thread_local Countdown options;
std::atomic<long> blocks{0};

bool is_copied(CURLoption option) {
  const curl_easyoption* known = curl_easy_option_by_id(option);
  return known != nullptr && known->type == CURLOT_STRING;
}

}  // namespace

// The linker sends the plug-in's calls here, and under the other name on to the real ones.
extern "C" {
void* __real_malloc(std::size_t size);
CURLcode __real_curl_easy_setopt(CURL* curl, int option, ...);

void* __wrap_malloc(std::size_t size) { return memory.fails() ? nullptr : __real_malloc(size); }

CURLcode __wrap_curl_easy_setopt(CURL* curl, int option, ...) {
  va_list arguments;
  va_start(arguments, option);
  void* value = va_arg(arguments, void*);  // what is not a pointer is a number as wide as one
  va_end(arguments);
  if (value != nullptr && is_copied(static_cast<CURLoption>(option)) && options.fails())
    return CURLE_OUT_OF_MEMORY;
  return __real_curl_easy_setopt(curl, option, value);
}
}

void* operator new(std::size_t size) {
  void* block = memory.fails() ? nullptr : __real_malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc{};
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

// libcurl 7.88.1 does not look whether it got the memory for the file name of a URL, and goes on as if a
// folder had been asked for. No caller can tell.
bool is_unchecked(const char* text) {
  return std::any_of(leaks::kFileNames.begin(), leaks::kFileNames.end(),
                     [text](const char* name) { return std::strcmp(text, name) == 0; });
}

void* count(void* block) {
  if (block != nullptr) ++blocks;
  return block;
}
void* allocate(std::size_t size) { return memory.fails() ? nullptr : count(__real_malloc(size)); }
void* allocate_zeros(std::size_t number, std::size_t size) {
  return memory.fails() ? nullptr : count(std::calloc(number, size));
}
void* reallocate(void* block, std::size_t size) {
  if (memory.fails()) return nullptr;
  void* moved = std::realloc(block, size);
  if (block == nullptr) count(moved);
  return moved;
}
char* duplicate(const char* text) {
  return !is_unchecked(text) && memory.fails() ? nullptr : static_cast<char*>(count(::strdup(text)));
}
void release(void* block) {
  if (block != nullptr) --blocks;
  std::free(block);
}

}  // namespace

namespace leaks {

void start() {
  if (curl_global_init_mem(CURL_GLOBAL_DEFAULT, allocate, release, reallocate, duplicate, allocate_zeros) !=
      CURLE_OK) {
    std::abort();
  }
}

Failure::Failure(Of kind, std::size_t n) {
  memory = {kind == Of::kMemory ? n : 0, false};
  options = {kind == Of::kOption ? n : 0, false};
}

Failure::~Failure() { memory.left = options.left = 0; }

bool Failure::happened() { return memory.happened || options.happened; }

long blocks_of_libcurl() { return blocks; }

}  // namespace leaks
