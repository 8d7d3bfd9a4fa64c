// The scripted server, driven by the curl program: what it serves, and each way in which it misbehaves.
#include "tests/fakes/ftp_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <thread>

#include "tests/fakes/bytes.h"

namespace fakes {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct Result {
  int code;
  std::string output;
};

std::string quoted(const std::string& argument) {
  std::string text = "'";
  for (const char c : argument) text += c == '\'' ? std::string{"'\\''"} : std::string(1, c);
  return text + "'";
}

/// Runs curl with these arguments; exit code and standard output.
Result curl(const std::vector<std::string>& arguments) {
  std::string command = "curl --silent --max-time 60 --noproxy '*'";
  for (const std::string& argument : arguments) command += " " + quoted(argument);
  command += " 2>/dev/null";
  std::FILE* pipe = ::popen(command.c_str(), "r");
  Result result{-1, ""};
  if (pipe == nullptr) return result;
  std::array<char, 4096> block{};
  while (const std::size_t got = std::fread(block.data(), 1, block.size(), pipe)) {
    result.output.append(block.data(), got);
  }
  const int status = ::pclose(pipe);
  result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

/// A file that is gone after the test.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& bytes) : name_{testing::TempDir() + "ftp_server_test_XXXXXX"} {
    ::close(::mkstemp(name_.data()));
    std::ofstream{name_, std::ios::binary} << bytes;
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { std::remove(name_.c_str()); }
  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  std::string name_;
};

class ScriptedServer : public testing::Test {
 protected:
  ScriptedServer() {
    server.add_file("/docs/a.txt", "hello world");
    server.add_file("/docs/sub/b.txt", "b", "19991231235959");
    server.add_file("/big.bin", some_bytes(3000000));
  }

  FtpServer server;
};

TEST_F(ScriptedServer, WritesDownEveryCommandWithItsConnection) {
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).output, "hello world");
  EXPECT_EQ(curl({"--user", "u:p", server.url("/docs/a.txt")}).output, "hello world");
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.dialogue(),
              ElementsAreArray({"1: USER anonymous", "1: PASS ftp@example.com", "1: PWD", "1: CWD docs",
                                "1: EPSV", "1: TYPE I", "1: SIZE a.txt", "1: RETR a.txt", "1: QUIT",
                                "2: USER u", "2: PASS p", "2: PWD", "2: CWD docs", "2: EPSV", "2: TYPE I",
                                "2: SIZE a.txt", "2: RETR a.txt", "2: QUIT"}));
  EXPECT_THAT(server.dialogue(2), Contains("USER u"));
  EXPECT_EQ(server.logins(), 2u);
  EXPECT_EQ(server.connections_seen(), 2u);
  EXPECT_EQ(server.count("EPSV"), 2u);
}

TEST_F(ScriptedServer, TakesTheDialogueInPieces) {
  curl({server.url("/docs/a.txt")});
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.take_dialogue().size(), 9u);
  EXPECT_THAT(server.take_dialogue(), IsEmpty());
  EXPECT_EQ(server.dialogue().size(), 9u);
}

TEST_F(ScriptedServer, ListsInBothForms) {
  // Lines end in CR LF on the wire; curl makes them local line ends, as ASCII transfers ask for.
  EXPECT_EQ(curl({server.url("/docs/")}).output,
            "-rw-r--r--   1 owner    group              11 Jan  2  2024 a.txt\n"
            "drwxr-xr-x   1 owner    group               0 Dec 31  1999 sub\n");
  EXPECT_EQ(curl({"--request", "MLSD", server.url("/docs/")}).output,
            "type=file;size=11;modify=20240102030405; a.txt\n"
            "type=dir;modify=19991231235959; sub\n");
}

TEST_F(ScriptedServer, SendsRawListingsAsTheyAre) {
  server.set_list("/docs", "total 3\nnonsense");
  server.set_mlsd("/docs", "type=pdir; ..\n");
  EXPECT_EQ(curl({server.url("/docs/")}).output, "total 3\nnonsense");
  EXPECT_EQ(curl({"--request", "MLSD", server.url("/docs/")}).output, "type=pdir; ..\n");
}

TEST_F(ScriptedServer, ServesRanges) {
  const std::string big = some_bytes(3000000);
  EXPECT_EQ(curl({"--range", "1000000-1999999", server.url("/big.bin")}).output,
            big.substr(1000000, 1000000));
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_THAT(server.dialogue(1), AllOf(Contains("REST 1000000"), Contains("ABOR")));
  EXPECT_EQ(curl({"--continue-at", "2999990", server.url("/big.bin")}).output, big.substr(2999990));
}

TEST_F(ScriptedServer, ServesEveryKindOfDataConnection) {
  EXPECT_EQ(curl({"--disable-epsv", server.url("/docs/a.txt")}).output, "hello world");
  EXPECT_EQ(curl({"--ftp-port", "-", server.url("/docs/a.txt")}).output, "hello world");
  EXPECT_EQ(curl({"--ftp-port", "-", "--disable-eprt", server.url("/docs/a.txt")}).output, "hello world");
  EXPECT_EQ(server.count("PASV"), 1u);
  EXPECT_EQ(server.count("EPRT"), 1u);
  EXPECT_EQ(server.count("PORT"), 1u);
}

TEST_F(ScriptedServer, ListensOnIpv6WhenAsked) {
  FtpServer both{true};
  both.add_file("/a", "six");
  EXPECT_EQ(curl({both.url6("/a")}).output, "six");
  EXPECT_EQ(curl({both.url("/a")}).output, "six");
}

TEST_F(ScriptedServer, TakesUploads) {
  const TemporaryFile local{some_bytes(200000)};
  EXPECT_EQ(curl({"--upload-file", local.name(), server.url("/docs/new.bin")}).code, 0);
  EXPECT_EQ(server.file("/docs/new.bin"), some_bytes(200000));
  ASSERT_EQ(server.uploads().size(), 1u);
  EXPECT_EQ(server.uploads()[0].path, "/docs/new.bin");
  EXPECT_EQ(curl({"--upload-file", local.name(), server.url("/docs/sub")}).code, 25);
}

TEST_F(ScriptedServer, CarriesOutChanges) {
  EXPECT_EQ(curl({"--quote", "MKD docs/new", "--quote", "RNFR docs/sub", "--quote", "RNTO docs/new/sub",
                  "--quote", "MFMT 20200304050607 docs/a.txt", "--quote", "DELE big.bin", "--quote", "SYST",
                  "--quote", "NOOP", "--list-only", "--head", server.url("/")})
                .code,
            0);
  EXPECT_EQ(server.file("/docs/new/sub/b.txt"), "b");
  EXPECT_EQ(server.file("/big.bin"), std::nullopt);
  EXPECT_THAT(
      curl({"--head", server.url("/docs/a.txt")}).output,
      AllOf(HasSubstr("Last-Modified: Wed, 04 Mar 2020 05:06:07 GMT"), HasSubstr("Content-Length: 11")));
}

TEST_F(ScriptedServer, RefusesWhatCannotBeDone) {
  for (const char* command : {"MKD docs", "MKD none/new", "RMD docs", "RMD none", "DELE none", "DELE docs",
                              "RNFR none", "RNTO docs/x", "MFMT 2020 docs/a.txt", "SIZE docs", "MDTM none",
                              "CWD none", "RETR docs", "STOR none/x", "XYZZY"}) {
    EXPECT_EQ(curl({"--quote", command, "--head", server.url("/")}).code, 21) << command;
  }
  EXPECT_EQ(curl({server.url("/docs/none")}).code, 78);
  EXPECT_EQ(curl({server.url("/none/a.txt")}).code, 9);
}

TEST_F(ScriptedServer, LetsInOnlyTheAccountThatWasNamed) {
  server.accept_only("u", "p");
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 67);
  EXPECT_EQ(curl({"--user", "u:p", server.url("/docs/a.txt")}).code, 0);
  EXPECT_EQ(server.logins(), 1u);
}

TEST_F(ScriptedServer, StartsWhereItIsTold) {
  server.start_in("/docs");
  EXPECT_EQ(curl({server.url("/a.txt")}).output, "hello world");
}

TEST_F(ScriptedServer, LacksFeatures) {
  EXPECT_EQ(curl({"--quote", "OPTS MLST type;", "--head", server.url("/")}).code, 0);
  server.lacks("MLST");
  server.lacks("EPSV");
  EXPECT_EQ(curl({"--quote", "OPTS MLST type;", "--head", server.url("/")}).code, 21);
  EXPECT_EQ(curl({"--request", "MLSD", server.url("/docs/")}).code, 19);
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).output, "hello world");
  EXPECT_EQ(server.count("PASV"), 2u);
  EXPECT_THAT(curl({"--quote", "FEAT", "--verbose", "--stderr", "-", "--head", server.url("/")}).output,
              AllOf(HasSubstr("UTF8"), testing::Not(HasSubstr("MLST"))));
}

TEST_F(ScriptedServer, RepliesWithNonsenseAsOftenAsItIsTold) {
  server.on("PASV").reply("227 nonsense").times(1);
  EXPECT_EQ(curl({"--disable-epsv", server.url("/docs/a.txt")}).code, 14);
  EXPECT_EQ(curl({"--disable-epsv", server.url("/docs/a.txt")}).code, 0);
}

TEST_F(ScriptedServer, TakesTheFirstFaultThatIsNotUsedUp) {
  server.on("RETR").reply("550 first").times(1);
  server.on("RETR a.txt").reply("450 second").times(1).on_connection(2);
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 78);
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 19);
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 0);
  server.on("RETR").reply("550 for ever");
  server.forget_faults();
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 0);
}

TEST_F(ScriptedServer, GreetsAsItIsTold) {
  server.on("CONNECT").reply("421 Full.").times(1);
  server.on("CONNECT").hang_up().times(1);
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 28);
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 56);
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 0);
}

TEST_F(ScriptedServer, HangsUpBeforeOrAfterItsReply) {
  server.on("CWD").hang_up().times(1);
  server.on("SIZE").hang_up_after_reply().times(1);
  EXPECT_NE(curl({server.url("/docs/a.txt")}).code, 0);
  EXPECT_NE(curl({server.url("/docs/a.txt")}).code, 0);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.dialogue(1).back(), "CWD docs");
  EXPECT_EQ(server.dialogue(2).back(), "SIZE a.txt");
}

TEST_F(ScriptedServer, EndsTheDataEarly) {
  server.on("RETR").end_data_after(4).times(1);
  const Result early = curl({server.url("/docs/a.txt")});
  EXPECT_EQ(early.code, 18);
  EXPECT_EQ(early.output, "hell");
}

TEST_F(ScriptedServer, BreaksTheDataConnection) {
  server.on("RETR").break_data_after(0).times(1);
  EXPECT_NE(curl({server.url("/docs/a.txt")}).code, 0);
  EXPECT_THAT(server.dialogue(1), Contains("RETR a.txt"));
}

TEST_F(ScriptedServer, HangsUpInTheMiddleOfTheData) {
  server.on("RETR").hang_up_after_data(4);
  const Result result = curl({server.url("/docs/a.txt")});
  EXPECT_NE(result.code, 0);
  EXPECT_EQ(result.output, "hell");
}

TEST_F(ScriptedServer, ClosesATransferWithAnotherReply) {
  server.on("RETR").closing("451 Disk on fire.");
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).code, 18);
}

TEST_F(ScriptedServer, LosesAnUpload) {
  const TemporaryFile local{"lost"};
  server.on("STOR").lose();
  EXPECT_EQ(curl({"--upload-file", local.name(), server.url("/docs/lost")}).code, 0);
  EXPECT_EQ(server.file("/docs/lost"), std::nullopt);
  ASSERT_EQ(server.uploads().size(), 1u);
  EXPECT_EQ(server.uploads()[0].bytes, "lost");
}

TEST_F(ScriptedServer, SendsExtraBytesBehindAReply) {
  server.on("CWD").extra("250 Said twice.\r\n");
  // The replies are one late from here on: the answer to CWD passes for that to EPSV.
  EXPECT_NE(curl({server.url("/docs/a.txt")}).code, 0);
}

TEST_F(ScriptedServer, StaysAfterGoodbye) {
  server.on("QUIT").stay();
  EXPECT_EQ(curl({"--quote", "QUIT", "--head", server.url("/")}).code, 0);
  EXPECT_THAT(server.dialogue(1),
              ElementsAre("USER anonymous", "PASS ftp@example.com", "PWD", "QUIT", "QUIT"));
}

TEST_F(ScriptedServer, DelaysAReply) {
  server.on("PWD").delay(1500ms);
  EXPECT_EQ(curl({"--max-time", "1", server.url("/docs/a.txt")}).code, 28);
  EXPECT_EQ(curl({server.url("/docs/a.txt")}).output, "hello world");
}

TEST_F(ScriptedServer, StaysSilentUntilTheClientLeaves) {
  server.on("CWD").silence();
  EXPECT_EQ(curl({"--max-time", "1", server.url("/docs/a.txt")}).code, 28);
  EXPECT_TRUE(server.wait_until_idle());
}

TEST_F(ScriptedServer, HoldsACommandAtAGate) {
  Gate gate;
  server.on("RETR").hold(gate);
  std::array<Result, 2> results;
  std::thread first{[&] { results[0] = curl({server.url("/docs/a.txt")}); }};
  std::thread second{[&] { results[1] = curl({server.url("/docs/a.txt")}); }};
  EXPECT_TRUE(gate.await_arrivals(2));
  EXPECT_EQ(server.open_connections(), 2u);
  gate.open();
  first.join();
  second.join();
  EXPECT_EQ(results[0].output + results[1].output, "hello worldhello world");
}

TEST_F(ScriptedServer, HoldsTheDataInTheMiddle) {
  Gate gate;
  server.on("RETR").hold_data_after(1000000, gate);
  Result result;
  std::thread client{[&] { result = curl({server.url("/big.bin")}); }};
  EXPECT_TRUE(gate.await_arrivals(1));
  EXPECT_EQ(server.open_connections(), 1u);
  gate.open();
  client.join();
  EXPECT_EQ(result.output, some_bytes(3000000));
}

TEST_F(ScriptedServer, EndsWhateverItIsDoingWhenItStops) {
  Gate gate;
  server.on("RETR a.txt").hold(gate);
  server.on("SIZE").silence().on_connection(2);
  std::thread held{[&] { EXPECT_NE(curl({server.url("/docs/a.txt")}).code, 0); }};
  ASSERT_TRUE(gate.await_arrivals(1));
  std::thread unanswered{[&] { EXPECT_NE(curl({server.url("/docs/a.txt")}).code, 0); }};
  EXPECT_TRUE(server.wait_for([&] { return server.count("SIZE") == 2; }));
  server.stop();
  held.join();
  unanswered.join();
  EXPECT_EQ(server.open_connections(), 0u);
  EXPECT_NE(curl({server.url("/docs/a.txt")}).code, 0);
  EXPECT_THAT(server.dialogue(2), Contains(StartsWith("SIZE")));
}

TEST_F(ScriptedServer, GivesUpAWaitAtItsDeadline) {
  EXPECT_FALSE(server.wait_for([&] { return server.logins() > 0; }, 50ms));
}

}  // namespace
}  // namespace fakes
