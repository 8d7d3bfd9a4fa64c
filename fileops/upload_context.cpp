#include "fileops/upload_context.h"

#include <curl/curl.h>

#include <atomic>

#include "boundary/log.h"
#include "fileops/read_context.h"

namespace ftp_plugin {

std::size_t read_callback_cache_func(char* buffer, std::size_t size, std::size_t nmemb,
                                     void* userdata) noexcept {
  try {
    auto& context = *static_cast<_RAREADCTX*>(userdata);
    // A file that grows while it is sent would never end. Pinned by
    // Upload.ACacheThatGoesOnAndOnIsLeftAtTheFirstBlockTooMany.
    if (context.offset > context.size) return CURL_READFUNC_ABORT;
    if (is_stopped(context.handle)) return CURL_READFUNC_ABORT;
    CACHE_READ_REQUEST request;
    request.buffer = buffer;
    request.offset = static_cast<std::int64_t>(context.offset);
    request.length = size * nmemb;
    request.handle = context.handle;
    request.file_size = context.size;
    context.cache->ReadBlock(&request);
    // libcurl refuses more than it asked for, but takes one number among those for a wish to pause.
    if (request.done > request.length) return request.length + 1;
    context.offset += request.done;
    if (is_stopped(context.handle)) return CURL_READFUNC_ABORT;
    if (context.handle != nullptr) {
      std::atomic_ref{context.handle->position}.store(static_cast<std::int64_t>(context.offset),
                                                      std::memory_order_release);
    }
    return request.done;
  } catch (...) {
    log_exception("Upload");
    return CURL_READFUNC_ABORT;  // the host's cache threw
  }
}

}  // namespace ftp_plugin
