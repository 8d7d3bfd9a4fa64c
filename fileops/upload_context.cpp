#include "fileops/upload_context.h"

#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "boundary/log.h"
#include "fileops/read_context.h"

namespace ftp_plugin {
namespace {

/// Asks the cache for up to `length` bytes. Returns how many it says it has put into `buffer`.
std::uint64_t ask(_RAREADCTX& context, char* buffer, std::uint64_t length) {
  CACHE_READ_REQUEST request;
  request.buffer = buffer;
  request.offset = static_cast<std::int64_t>(context.offset);
  request.length = length;
  request.handle = context.handle;
  request.file_size = context.size;
  context.asked = true;
  context.cache->ReadBlock(&request);
  return request.done;
}

/// Asks for a whole block where libcurl wants only the rest of the file. Returns what of it is libcurl's.
std::uint64_t ask_for_the_rest(_RAREADCTX& context, char* buffer, std::uint64_t wanted, std::uint64_t& done) {
  std::vector<char> block(context.block);
  done = ask(context, block.data(), block.size());
  const std::uint64_t taken = std::min(done, wanted);
  std::memcpy(buffer, block.data(), taken);
  return taken;
}

}  // namespace

std::size_t read_callback_cache_func(char* buffer, std::size_t size, std::size_t nmemb,
                                     void* userdata) noexcept {
  try {
    auto& context = *static_cast<_RAREADCTX*>(userdata);
    // A file that grows while it is sent would never end. Pinned by
    // Upload.ACacheThatGoesOnAndOnIsLeftAtTheFirstBlockTooMany.
    if (context.offset > context.size) return CURL_READFUNC_ABORT;
    if (is_stopped(context.handle)) return CURL_READFUNC_ABORT;
    const std::uint64_t wanted = size * nmemb;
    const bool is_the_rest = wanted < context.block && wanted >= context.size - context.offset;
    std::uint64_t done = 0;
    const std::uint64_t taken =
        is_the_rest ? ask_for_the_rest(context, buffer, wanted, done) : done = ask(context, buffer, wanted);
    // libcurl refuses more than it asked for, but takes one number among those for a wish to pause.
    if (done > std::max(wanted, is_the_rest ? context.block : 0)) return wanted + 1;
    context.offset += done;
    if (is_stopped(context.handle)) return CURL_READFUNC_ABORT;
    if (context.handle != nullptr) {
      std::atomic_ref{context.handle->position}.store(static_cast<std::int64_t>(context.offset),
                                                      std::memory_order_release);
    }
    return taken;
  } catch (...) {
    log_exception("Upload");
    return CURL_READFUNC_ABORT;  // the host's cache threw
  }
}

void ask_for_an_empty_file(_RAREADCTX& context) noexcept {
  try {
    if (context.asked || context.size != 0) return;
    std::vector<char> block(context.block);
    context.offset += std::min<std::uint64_t>(ask(context, block.data(), block.size()), block.size());
  } catch (...) {
    log_exception("Upload");
    context.offset = 1;  // whatever the cache has, it is not known to be nothing
  }
}

}  // namespace ftp_plugin
