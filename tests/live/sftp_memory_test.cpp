// The SFTP channel while each of its own allocations fails in turn. What libcurl and libssh2 allocate does
// not fail here.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <string>

#include "listing/sftp_listing.h"
#include "tests/leaks/failures.h"
#include "tests/servers/sshd.h"
#include "transport/sftp/sftp_channel.h"

namespace ftp_plugin {
namespace {

namespace fs = std::filesystem;
using leaks::Failure;

/// Lets each allocation of `request` fail once, the first, the second and so on. `request` looks at what it
/// reports as done; behind each failure the same channel does the same again.
void let_each_fail(const server_settings& settings, bool logged_in,
                   const std::function<CURLcode(sftp_channel&)>& request) {
  std::size_t failures = 0;
  for (std::size_t n = 1;; ++n) {
    SCOPED_TRACE(n);
    sftp_channel channel{settings};
    if (logged_in) {
      ASSERT_EQ(request(channel), CURLE_OK);
    }
    bool happened = false;
    {
      const Failure failure{Failure::Of::kMemory, n};
      try {
        (void)request(channel);
      } catch (const std::bad_alloc&) {
      }
      happened = Failure::happened();
    }
    if (!happened) break;
    ++failures;
    ASSERT_EQ(request(channel), CURLE_OK) << "behind the failure";
  }
  EXPECT_GT(failures, 0U);
}

TEST(SftpChannelMemory, MayRunOutAtAnyTime) {
  const servers::Sshd server{{.keyboard_interactive = true}};
  fs::create_directory(server.home() / "a directory whose name has to be stored somewhere");
  fs::create_directory_symlink("a directory whose name has to be stored somewhere",
                               server.home() / "a -> link");
  const server_settings settings = read_settings({{key::type, "sftp"},
                                                  {key::url, server.url()},
                                                  {key::user, server.user()},
                                                  {key::pwd, server.password()}});
  const std::string path = server.home().string();
  for (const bool logged_in : {false, true}) {
    SCOPED_TRACE(logged_in);
    let_each_fail(settings, logged_in, [&](sftp_channel& channel) {
      sftp_attributes got{};
      return channel.stat(path, got);
    });
    let_each_fail(settings, logged_in, [&](sftp_channel& channel) {
      sftp_listing listing;
      const CURLcode code = channel.list(path, listing);
      const std::string_view text = listing.text();
      if (code == CURLE_OK) {
        EXPECT_NE(text.find("a -> link;"), text.npos);
        EXPECT_NE(text.find("stored somewhere;"), text.npos);
      }
      return code;
    });
  }
}

}  // namespace
}  // namespace ftp_plugin
