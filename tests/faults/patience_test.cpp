// How long a silent server is waited for, and what becomes of the connection on which its answer is still
// due.
#include <chrono>
#include <string>

#include "tests/faults/fast_time.h"
#include "tests/wire/changes_fixture.h"

namespace {

using fakes::Gate;
using faults::FastTime;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::Lt;

/// libcurl's patience with one answer is two minutes: here one second.
constexpr int kFactor = 120;

class Patience : public wire::Changes {
 protected:
  template <class Operation>
  AERROR run_fast(Operation&& operation) {
    const FastTime fast{kFactor};
    const AERROR result = operation();
    took = FastTime::elapsed();
    return result;
  }
  milliseconds took{0};
};

TEST_F(Patience, EndsAfterTwoMinutesWithoutAGoodbye) {
  connected();
  server.on("DELE").silence().times(1);
  EXPECT_EQ(run_fast([&] { return protocol->Delete("/docs/a.txt", nullptr); }), FAILED);
  EXPECT_THAT(took, AllOf(Ge(seconds{115}), Lt(seconds{127})));
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: DELE docs/a.txt")) << "it would not hear a QUIT either";
  expect_dropped();
}

TEST_F(Patience, WithAChangeOfTimesCostsTheConnection) {
  const Gate gate;
  connected();
  server.on("MFMT").hold(gate).times(1);
  _FS_FILE_V2 file = named("a.txt");
  EXPECT_EQ(run_fast([&] {
              return protocol->SetFileTime("/docs/a.txt", "", "", "2024-03-05T07:08:09Z", &file, nullptr);
            }),
            FAILED);
  EXPECT_THAT(took, AllOf(Ge(seconds{115}), Lt(seconds{127})));
  EXPECT_THAT(server.take_dialogue(), ElementsAre("1: MFMT 20240305070809 docs/a.txt"));
  // The answer to MFMT, which is still due, is none to another command.
  EXPECT_EQ(run_fast([&] { return protocol->GetFileInfo("/docs/my file.txt", &file, nullptr); }), SUCCESS);
  EXPECT_EQ(file.size, 5);
  EXPECT_EQ(server.connections_seen(), 2u);
  Gate{gate}.open();
}

}  // namespace
