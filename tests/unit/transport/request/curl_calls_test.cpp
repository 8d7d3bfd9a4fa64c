// What the request object tells libcurl, and what it makes of a libcurl without memory. libcurl cannot be
// asked which options are set, so this program has a few functions of its own under libcurl's names: they
// write down, or refuse where a test wants it, and pass on.
#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/transport/curl_recorder.h"
#include "tests/unit/transport/http_responder.h"
#include "transport/command_list.h"
#include "transport/curl_global.h"
#include "transport/request/curl_callbacks.h"
#include "transport/request/curl_impl.h"
#include "transport/request/curl_logger.h"
#include "transport/request/progress.h"

#undef curl_easy_setopt

thread_local std::vector<std::string>* ftp_plugin::option_record = nullptr;
thread_local bool ftp_plugin::out_of_memory = false;
thread_local CURLoption ftp_plugin::refused_option = CURLOPT_LASTENTRY;
thread_local bool ftp_plugin::pipe_breaks_in_cleanup = false;

namespace {

std::atomic<int> starts = 0;

std::string describe(CURLoption option, void* value) {
  const curl_easyoption* known = curl_easy_option_by_id(option);
  std::string text = known == nullptr ? std::to_string(option) : known->name;
  text += '=';
  if (known != nullptr && known->type <= CURLOT_OFF_T) {
    return text + std::to_string(reinterpret_cast<std::intptr_t>(value));
  }
  if (value == nullptr) return text + "none";
  if (known != nullptr && known->type == CURLOT_STRING) return text + '"' + static_cast<char*>(value) + '"';
  if (value == reinterpret_cast<void*>(&ftp_plugin::discard_body)) return text + "discard_body";
  if (value == reinterpret_cast<void*>(&ftp_plugin::enlarge_send_buffer)) return text + "enlarge_send_buffer";
  if (value == reinterpret_cast<void*>(&ftp_plugin::append_to_buffer)) return text + "append_to_buffer";
  if (value == reinterpret_cast<void*>(&ftp_plugin::read_from_cursor)) return text + "read_from_cursor";
  if (value == reinterpret_cast<void*>(&ftp_plugin::seek_cursor)) return text + "seek_cursor";
  if (value == reinterpret_cast<void*>(&ftp_plugin::_CURL_PROGRESS)) return text + "_CURL_PROGRESS";
  if (value == reinterpret_cast<void*>(&ftp_plugin::_CURL_PROGRESS_DOWNLOAD)) {
    return text + "_CURL_PROGRESS_DOWNLOAD";
  }
  return text + "set";
}

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// Every value that an option takes is one machine word, passed in the same kind of register.
extern "C" CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
  static auto* const real = next<CURLcode(CURL*, CURLoption, ...)>("curl_easy_setopt");
  va_list arguments;
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wvarargs"  // libcurl chose an enumeration as the last named parameter
#endif
  va_start(arguments, option);
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
  void* value = va_arg(arguments, void*);
  va_end(arguments);
  if (ftp_plugin::option_record != nullptr) ftp_plugin::option_record->push_back(describe(option, value));
  if (option == ftp_plugin::refused_option) return CURLE_OUT_OF_MEMORY;
  return real(handle, option, value);
}

extern "C" CURL* curl_easy_init() {
  static auto* const real = next<CURL*()>("curl_easy_init");
  return ftp_plugin::out_of_memory ? nullptr : real();
}

extern "C" void curl_easy_cleanup(CURL* handle) {
  static auto* const real = next<void(CURL*)>("curl_easy_cleanup");
  real(handle);
  if (ftp_plugin::pipe_breaks_in_cleanup) raise(SIGPIPE);
}

extern "C" curl_slist* curl_slist_append(curl_slist* list, const char* line) {
  static auto* const real = next<curl_slist*(curl_slist*, const char*)>("curl_slist_append");
  return ftp_plugin::out_of_memory ? nullptr : real(list, line);
}

extern "C" CURLcode curl_global_init(long flags) {
  static auto* const real = next<CURLcode(long)>("curl_global_init");
  ++starts;
  return real(flags);
}

namespace ftp_plugin {
namespace {

using lines = std::vector<std::string>;

TEST(Options, OfANewRequestComeInOrder) {
  EXPECT_EQ(
      options_of([] { const CURLImpl request; }),
      (lines{"HTTP_VERSION=2", "CONNECTTIMEOUT=10", "LOW_SPEED_LIMIT=1", "LOW_SPEED_TIME=20", "NOSIGNAL=1",
             "FOLLOWLOCATION=1", "MAXREDIRS=32", "ACCEPT_ENCODING=\"\"", "USERAGENT=\"Nimbora(gzip)\"",
             "SSL_VERIFYPEER=0", "SSL_VERIFYHOST=0", "NOPROGRESS=1", "WRITEFUNCTION=discard_body"}));
}

TEST(Options, OfClearComeInOrder) {
  CURLImpl request;
  EXPECT_EQ(options_of([&] { request.Clear(); }),
            (lines{"HEADER=0", "CUSTOMREQUEST=none", "WRITEDATA=none", "WRITEFUNCTION=discard_body",
                   "READFUNCTION=none", "READDATA=none", "POSTFIELDS=none", "POSTFIELDSIZE_LARGE=0",
                   "SEEKFUNCTION=none", "SEEKDATA=none", "INFILESIZE_LARGE=0", "MAX_SEND_SPEED_LARGE=0",
                   "MAX_RECV_SPEED_LARGE=0", "NOPROGRESS=1", "XFERINFOFUNCTION=none", "XFERINFODATA=none",
                   "LOW_SPEED_TIME=20", "PROXY=none"}));
}

TEST(Options, OfTheLimitsAreTheirValues) {
  CURLImpl request;
  EXPECT_EQ(options_of([&] { request.SetSpeedLimit(5LL << 32); }),
            (lines{"MAX_SEND_SPEED_LARGE=21474836480", "MAX_RECV_SPEED_LARGE=21474836480"}));
  EXPECT_EQ(options_of([&] { request.SetLowSpeedTimeout(7); }), lines{"LOW_SPEED_TIME=7"});
  EXPECT_EQ(options_of([&] { request.SetPostFileSize(1LL << 40); }), lines{"INFILESIZE_LARGE=1099511627776"});
  EXPECT_EQ(options_of([&] { request.SetSendBuffer(); }), lines{"SOCKOPTFUNCTION=enlarge_send_buffer"});
  EXPECT_EQ(options_of([&] { request.SetSSLDefaults(); }), lines{});
}

TEST(SpeedLimit, ZeroRemovesBothLimits) {
  CURLImpl request;
  request.SetSpeedLimit(1000);
  EXPECT_EQ(options_of([&] { request.SetSpeedLimit(0); }),
            (lines{"MAX_SEND_SPEED_LARGE=0", "MAX_RECV_SPEED_LARGE=0"}));
}

TEST(Options, OfTheProgressNameItsDirection) {
  CURLImpl request;
  const auto handle = std::make_shared<_FS_HANDLE>();
  EXPECT_EQ(options_of([&] { request.BindHandle(handle); }),
            (lines{"XFERINFOFUNCTION=_CURL_PROGRESS", "XFERINFODATA=set", "NOPROGRESS=0"}));
  EXPECT_EQ(options_of([&] { request.BindHandleForDownload(handle); }),
            (lines{"XFERINFOFUNCTION=_CURL_PROGRESS_DOWNLOAD", "XFERINFODATA=set", "NOPROGRESS=0"}));
}

TEST(Options, OfAProxyHoldUserAndPasswordApart) {
  CURLImpl request;
  EXPECT_EQ(options_of([&] { request.SetProxy(CURLPROXY_SOCKS5, "host", 1080, "us:er", "pwd"); }),
            (lines{"PROXYTYPE=5", "PROXY=\"host\"", "PROXYPORT=1080", "PROXYUSERNAME=\"us:er\"",
                   "PROXYPASSWORD=\"pwd\""}));
}

// An URL without a host fails before anything is sent; the options are set all the same.
constexpr const char* kNoHost = "http:///";

TEST(Options, OfAGetComeInOrderAndGoAtItsEnd) {
  CURLImpl request;
  request.SetURL(kNoHost);
  request.SetRequest("HEAD");
  request.AddHeader("A", 1);
  EXPECT_EQ(options_of([&] { (void)request.PerformGet(nullptr, nullptr); }),
            (lines{"HEADER=1", "CUSTOMREQUEST=\"HEAD\"", "URL=\"http:///\"", "HTTPHEADER=set", "HTTPGET=1",
                   "WRITEDATA=set", "WRITEFUNCTION=append_to_buffer",
                   // undone
                   "HTTPHEADER=none", "WRITEDATA=none", "WRITEFUNCTION=discard_body", "READFUNCTION=none",
                   "READDATA=none", "SEEKFUNCTION=none", "SEEKDATA=none"}));
}

TEST(Options, OfAPostedTextIncludeTheSeekFunction) {
  CURLImpl request;
  request.SetURL(kNoHost);
  EXPECT_EQ(options_of([&] { (void)request.PerformPost("text"); }),
            (lines{"SEEKFUNCTION=seek_cursor", "SEEKDATA=set", "URL=\"http:///\"", "POST=1",
                   "HTTPHEADER=none", "HEADER=1", "WRITEDATA=set", "WRITEFUNCTION=append_to_buffer",
                   "POSTFIELDSIZE_LARGE=-1", "READFUNCTION=read_from_cursor", "READDATA=set",
                   // undone
                   "HTTPHEADER=none", "WRITEDATA=none", "WRITEFUNCTION=discard_body", "READFUNCTION=none",
                   "READDATA=none", "SEEKFUNCTION=none", "SEEKDATA=none"}));
}

TEST(Options, OfAPostedQueryComeInOrderAndGoAtItsEnd) {
  CURLImpl request;
  request.SetURL(kNoHost);
  request.AddQuery("a", "b");
  EXPECT_EQ(options_of([&] { (void)request.PerformPost(nullptr, nullptr, -1); }),
            (lines{"URL=\"http:///\"", "POST=1", "HTTPHEADER=none", "HEADER=1", "WRITEDATA=set",
                   "WRITEFUNCTION=append_to_buffer", "POSTFIELDSIZE_LARGE=-1", "POSTFIELDS=set",
                   // undone
                   "HTTPHEADER=none", "WRITEDATA=none", "WRITEFUNCTION=discard_body", "READFUNCTION=none",
                   "READDATA=none", "SEEKFUNCTION=none", "SEEKDATA=none", "POSTFIELDS=none"}));
}

TEST(Options, OfAPostedFormLeaveNoFormBehind) {
  CURLImpl request;
  request.SetURL(kNoHost);
  curl_httppost* first = nullptr;
  curl_httppost* last = nullptr;
  curl_formadd(&first, &last, CURLFORM_COPYNAME, "a", CURLFORM_COPYCONTENTS, "b", CURLFORM_END);
  request.SetPost(first);
  const lines seen = options_of([&] { (void)request.PerformPost(nullptr, nullptr, -1); });
  EXPECT_EQ(seen.at(6), "HTTPPOST=set");
  EXPECT_EQ(seen.at(7), "HTTPHEADER=none");  // no text is posted beside the form
  EXPECT_EQ(seen.back(), "HTTPPOST=none");
}

TEST(Options, OfAPostOfKnownSizeHaveNoSeekFunction) {
  CURLImpl request;
  request.SetURL(kNoHost);
  read_cursor cursor{"x", 0, 1};
  const lines seen =
      options_of([&] { (void)request.PerformPost(reinterpret_cast<void*>(&read_from_cursor), &cursor, 1); });
  EXPECT_EQ(seen.front(), "URL=\"http:///\"");
  EXPECT_EQ(seen.at(6), "POSTFIELDSIZE_LARGE=1");
}

TEST(Options, OfALoggingRequestAddTheErrorTextForAsLongAsItLives) {
  lines seen = options_of([] { const CURLLogger request; });
  ASSERT_GE(seen.size(), 2U);
  EXPECT_EQ(seen[seen.size() - 2], "ERRORBUFFER=set");
  EXPECT_EQ(seen[seen.size() - 1], "ERRORBUFFER=none");
}

TEST(CURLImpl, PerformsNothingWithoutAHandle) {
  std::unique_ptr<CURLLogger> request;
  {
    const no_memory now;
    request = std::make_unique<CURLLogger>();
  }
  EXPECT_EQ(request->GetCURL(), nullptr);
  request->SetURL("http://127.0.0.1:1/");
  request->SetSpeedLimit(1);
  request->BindHandle(std::make_shared<_FS_HANDLE>());
  request->InstallLogger();
  EXPECT_EQ(request->PerformGet(nullptr, nullptr).result, CURLE_FAILED_INIT);
  EXPECT_EQ(request->PerformPost("text").result, CURLE_FAILED_INIT);
  EXPECT_EQ(request->PerformPost(nullptr, nullptr, -1).result, CURLE_FAILED_INIT);
  request->Clear();
}

TEST(CommandList, StaysAsItWasWhenThereIsNoMemory) {
  command_list list;
  add(list, "kept");
  {
    const no_memory now;
    EXPECT_THROW(add(list, "refused"), std::bad_alloc);
  }
  ASSERT_NE(list, nullptr);
  EXPECT_STREQ(list->data, "kept");
  EXPECT_EQ(list->next, nullptr);
}

TEST(Options, AreLeftAloneWhenThereIsNoMemoryForTheHeaders) {
  CURLImpl request;
  request.SetURL(kNoHost);
  request.AddHeader("A", 1);
  EXPECT_EQ(options_of([&] {
              const no_memory now;
              EXPECT_THROW((void)request.PerformGet(nullptr, nullptr), std::bad_alloc);
              EXPECT_THROW((void)request.PerformPost("text"), std::bad_alloc);
            }),
            lines{});
}

TEST(BrokenPipe, DoesNotReachTheHostWhenAHandleIsFreed) {
  {
    const CURLImpl request;
    pipe_breaks_in_cleanup = true;
  }
  pipe_breaks_in_cleanup = false;  // still here
}

TEST(BrokenPipe, DoesNotReachTheHostWhileARequestRuns) {
  const testing_tools::http_responder server;
  CURLImpl request;
  request.SetURL(server.url("/").c_str());
  const curl_write_callback breaks = [](char*, std::size_t size, std::size_t count, void*) {
    raise(SIGPIPE);
    return size * count;
  };
  EXPECT_EQ(request.PerformGet(reinterpret_cast<void*>(breaks), nullptr).result, CURLE_OK);
}

TEST(StartCurl, StartsItOnceForAllThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] {
      const CURLImpl request;
      EXPECT_NE(request.GetCURL(), nullptr);
    });
  }
  for (std::thread& thread : threads) thread.join();
  start_curl();
  EXPECT_EQ(starts.load(), 1);
}

}  // namespace
}  // namespace ftp_plugin
