// Logging in, over clear FTP: what is sent, what is logged, what comes back.
#include <array>
#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/latin1_locale.h"
#include "tests/wire/wire_fixture.h"

namespace {

using Login = wire::Wire;
using fakes::FtpServer;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST_F(Login, LogsInOnceAndProbesTheServerOnTheSameConnection) {
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_THAT(server.dialogue(),
              ElementsAre("1: USER anonymous", "1: PASS ftp@example.com", "1: PWD", "1: OPTS UTF8 ON",
                          "1: OPTS MLST type;unique;size;modify;", "1: FEAT"));
  EXPECT_THAT(log.operations(),
              ElementsAre("1 [PROTOCOL  ] Connect with explicit FTPS url:" + server.url() + ", return 0",
                          "1 [PROTOCOL  ] SetFileTimeSupportMode"));
}

TEST_F(Login, SendsUserAndPassword) {
  server.accept_only("jane", "s3cret pass");
  EXPECT_EQ(connect_with(fakes::login_document(server.url(), "jane", "s3cret pass")), SUCCESS);
  EXPECT_THAT(server.dialogue(1), AllOf(Contains("USER jane"), Contains("PASS s3cret pass")));
}

TEST_F(Login, TracesCommandsAndRepliesButNeverThePassword) {
  EXPECT_EQ(connect_with(fakes::login_document(server.url(), "jane", "s3cret")), SUCCESS);
  EXPECT_THAT(log.lines(), Contains("1 [NETWORK   ] [HEADER   <<] USER jane\r\n"));
  EXPECT_THAT(log.lines(), Contains("1 [NETWORK   ] [HEADER   >>] 331 Password, please.\r\n"));
  EXPECT_THAT(log.lines(), Contains(StartsWith("2 [NETWORK   ] [INFORMATION] Connected to 127.0.0.1")));
  EXPECT_THAT(log.lines(), Each(Not(HasSubstr("s3cret"))));
  EXPECT_THAT(log.lines(), Each(Not(HasSubstr("PASS "))));
}

TEST_F(Login, DoesNotTraceAnEmptyLineOfAReply) {
  server.on("PWD").reply("257-One moment.\r\n\r\n257 \"/\"");
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_THAT(log.lines(), Contains("1 [NETWORK   ] [HEADER   >>] 257-One moment.\r\n"));
  EXPECT_THAT(log.lines(), Each(Not(StartsWith("1 [NETWORK   ] [HEADER   >>] \r"))));
}

TEST_F(Login, NeedsNoLogger) {
  fakes::plugin().UnbindLogger();
  EXPECT_EQ(connect(), SUCCESS);
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/none", nullptr, nullptr), FAILED);
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(log.lines(), IsEmpty());
  fakes::plugin().BindLogger(&log);
  EXPECT_FALSE(fakes::plugin().BindLogger(nullptr));
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(log.lines(), Not(IsEmpty()));
}

TEST_F(Login, NeverUsesTheHostsQueue) {
  int queue = 0;
  EXPECT_FALSE(fakes::plugin().BindAsyncQ(nullptr));
  EXPECT_TRUE(fakes::plugin().BindAsyncQ(&queue));
  fakes::plugin().UnbindAsyncQ();
  EXPECT_EQ(connect(), SUCCESS);
}

// Not what the standard knows, but no answer to the next command either.
TEST_F(Login, LinesWithoutACodeBehindAReplyAreNoReply) {
  server.on("CONNECT").reply("220 Ready.\r\n\r\nWelcome.");
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_EQ(server.connections_seen(), 1u);
}

// libcurl begins its buffer anew in the middle of such a reply.
TEST_F(Login, AVeryLongGreetingIsReadToItsEnd) {
  std::string greeting = "220-Welcome\r\n";
  while (greeting.size() < 40'000) greeting += "220-" + std::string(61, '*') + "\r\n";
  server.on("CONNECT").reply(greeting + "220 Ready.");
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_EQ(server.connections_seen(), 1u);
}

TEST_F(Login, ARefusedPasswordIsAccessDeniedWithoutASecondAttempt) {
  server.accept_only("jane", "right");
  EXPECT_EQ(connect_with(fakes::login_document(server.url(), "jane", "wrong")), ACCESS_DENIED);
  EXPECT_EQ(server.connections_seen(), 1u);
  EXPECT_THAT(log.operations(),
              ElementsAre("1 [PROTOCOL  ] Connect with explicit FTPS url:" + server.url() + ", return 22"));
}

TEST_F(Login, AServerThatIsNotThereIsPathNotFoundWithoutASecondAttempt) {
  server.stop();
  EXPECT_EQ(connect_with(fakes::login_document("ftps" + server.url().substr(3))), PATH_NOT_FOUND);
  EXPECT_THAT(log.operations(),
              ElementsAre("1 [PROTOCOL  ] Connect with explicit FTPS url:" + server.url() + ", return 18"));
}

TEST_F(Login, AFailureWithoutTlsIsNotTriedAgain) {
  server.on("CONNECT").hang_up();
  EXPECT_EQ(connect("/dir/"), FAILED);
  EXPECT_EQ(server.connections_seen(), 1u);
  EXPECT_THAT(log.operations(),
              ElementsAre("1 [PROTOCOL  ] Connect with explicit FTPS url:" + server.url("/") + ", return 1"));
}

TEST_F(Login, AFailureWithTlsIsTriedAgainWithImplicitTls) {
  server.on("CONNECT").hang_up().on_connection(1);
  const std::string tls_url = "ftps" + server.url("/").substr(3);
  EXPECT_EQ(connect_with(fakes::login_document(tls_url)), FAILED);
  EXPECT_GT(server.connections_seen(), 1u);
  EXPECT_EQ(server.logins(), 0u);
  EXPECT_THAT(log.operations(),
              ElementsAre("1 [PROTOCOL  ] Connect with explicit FTPS url:" + server.url("/") + ", return 1",
                          "1 [PROTOCOL  ] Connect with implicit FTPS url:" + tls_url + ", return 1"));
}

TEST_F(Login, UsesTlsOnlyWhereTheServerOffersIt) {
  EXPECT_EQ(connect_with(fakes::login_document("ftps" + server.url().substr(3))), SUCCESS);
  EXPECT_THAT(server.dialogue(),
              ElementsAre("1: AUTH SSL", "1: AUTH TLS", "1: USER anonymous", "1: PASS ftp@example.com",
                          "1: PWD", "1: OPTS UTF8 ON", "1: OPTS MLST type;unique;size;modify;", "1: FEAT"));
}

TEST_F(Login, TlsIsNotAskedForByTheFieldOfTheForm) {
  EXPECT_EQ(connect("", {{"ssl", "true"}, {"port", "1"}}), SUCCESS);
  EXPECT_EQ(server.count("AUTH"), 0u);
}

TEST_F(Login, AnAnonymousLoginTakesNoUserFromTheForm) {
  EXPECT_EQ(connect_with(fakes::login_document(server.url(), "jane", "s3cret", {{"anonymous", "true"}})),
            SUCCESS);
  EXPECT_THAT(server.dialogue(1), AllOf(Contains("USER anonymous"), Contains("PASS ftp@example.com")));
}

TEST_F(Login, AUserBeforeTheAnonymousFieldIsNotTaken) {
  EXPECT_EQ(connect_with("[{\"data\":[{\"url\":{\"value\":\"" + server.url() +
                         "\"}},{\"user\":{\"value\":\"jane\"}},{\"anonymous\":{\"value\":false}}]}]"),
            SUCCESS);
  EXPECT_THAT(server.dialogue(1), Contains("USER anonymous"));
}

TEST_F(Login, GoesOnWithWhatItKnowsWhenTheFormCannotBeRead) {
  EXPECT_EQ(connect_with("no form"), FAILED);
  EXPECT_EQ(connect_with("[]"), FAILED);
  EXPECT_EQ(connect_with(std::string(100000, '[')), FAILED);
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_EQ(connect_with("no form"), SUCCESS);
  EXPECT_EQ(server.logins(), 2u);
}

TEST_F(Login, ADocumentWithoutAUrlCutsTheRootPathOffOnceMore) {
  const std::string root = "/" + std::string(server.url().size(), 'r');
  EXPECT_EQ(connect_with(fakes::login_document(server.url() + root, "jane", "s3cret")), SUCCESS);
  EXPECT_EQ(connect_with("[]"), FAILED);
  EXPECT_THAT(log.operations(), Contains("1 [PROTOCOL  ] Connect with explicit FTPS url:, return 1"));
  EXPECT_EQ(server.connections_seen(), 1u);
}

TEST_F(Login, KeepsTheFieldsInFrontOfTheOneThatCannotBeConverted) {
  EXPECT_EQ(connect_with("[{\"data\":[{\"url\":{\"value\":\"" + server.url() +
                         "\"}},{\"active\":{\"value\":[\"no boolean\"]}}]}]"),
            SUCCESS);
}

TEST_F(Login, NeverReadsLocalFilesOrTalksHttp) {
  server.on("CONNECT").reply("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n");
  const std::string host = server.url().substr(6);
  for (const std::string& url :
       std::vector<std::string>{"http://" + host, "file:///etc/passwd", "file://localhost/etc/passwd",
                                "gopher://" + host, "dict://" + host, host, ""}) {
    EXPECT_EQ(connect_with(fakes::login_document(url)), FAILED) << url;
  }
  EXPECT_EQ(server.connections_seen(), 0u);
}

TEST_F(Login, ASchemeInOtherLettersAndAGuessedOneFail) {
  // libcurl takes both for FTP and resolves every name below "localhost" to the loopback interface.
  const std::string port = std::to_string(server.port());
  ASSERT_EQ(connect(), SUCCESS);
  for (const std::string& url :
       {"FTP://127.0.0.1:" + port, "Ftp://127.0.0.1:" + port + "/docs", "ftp.localhost:" + port}) {
    EXPECT_EQ(connect_with(fakes::login_document(url)), FAILED) << url;
  }
  EXPECT_EQ(server.connections_seen(), 1u);
}

TEST_F(Login, AUserThatLibcurlDoesNotTakeIsNoAnonymousLogin) {
  const std::string too_long(8000001, 'x');
  EXPECT_EQ(connect_with(fakes::login_document(server.url(), too_long, "s3cret")), FAILED);
  EXPECT_EQ(connect_with(fakes::login_document(server.url(), "jane", too_long)), FAILED);
  EXPECT_EQ(connect_with(fakes::login_document(server.url(), "jane", "s3cret")), SUCCESS);
  EXPECT_EQ(server.connections_seen(), 1u);
  EXPECT_THAT(log.operations(), Contains(EndsWith(", return 1")).Times(2));
}

TEST_F(Login, AServerThatDoesNotTellTheLoginDirectoryIsLoggedInToOnce) {
  server.on("PWD").reply("502 Not implemented.");
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_EQ(protocol->Delete("/docs/a.txt", nullptr), SUCCESS);
  EXPECT_EQ(server.logins(), 1u);
}

TEST_F(Login, TheRootPathIsTakenOffTheUrl) {
  EXPECT_EQ(connect("/docs"), SUCCESS);
  EXPECT_THAT(log.operations(),
              Contains("1 [PROTOCOL  ] Connect with explicit FTPS url:" + server.url() + ", return 0"));
  EXPECT_EQ(server.count("CWD"), 0u);
  std::array<char, 256> buffer{};
  int size = 256;
  EXPECT_EQ(protocol->GetUserInfo(buffer.data(), &size), SUCCESS);
  EXPECT_EQ(buffer.data(), server.url("/docs/"));
  size = static_cast<int>(server.url("/docs/").size());
  EXPECT_EQ(protocol->GetUserInfo(buffer.data(), &size), INSUFFICIENT_BUFFER);
}

TEST_F(Login, ASecondLoginReplacesTheFirstOne) {
  FtpServer other;
  ASSERT_EQ(connect(), SUCCESS);
  EXPECT_EQ(connect_with(fakes::login_document(other.url())), SUCCESS);
  EXPECT_TRUE(server.wait_until_idle());
  EXPECT_EQ(server.dialogue().back(), "1: QUIT");
  EXPECT_EQ(other.open_connections(), 1u);
  protocol.release();
  EXPECT_TRUE(other.wait_until_idle());
}

TEST_F(Login, AFailedFeatProbeIsLoggedAndNothingMore) {
  server.on("FEAT").reply("500 What?");
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_THAT(log.operations(),
              ElementsAre(StartsWith("1 [PROTOCOL  ] Connect"), "1 [PROTOCOL  ] SetFileTimeSupportMode",
                          "8 [PROTOCOL  ] SetFileTimeSupportMode SetFileTimeSupportMode exec error: [21]"));
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_EQ(server.connections_seen(), 1u) << "and costs no login";
}

TEST_F(Login, RefusedProbesAreNoFailure) {
  server.lacks("UTF8");
  server.lacks("MLST");
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_THAT(log.lines_with("8 [PROTOCOL"), IsEmpty());
  EXPECT_THAT(server.dialogue(),
              ElementsAre("1: USER anonymous", "1: PASS ftp@example.com", "1: PWD", "1: OPTS UTF8 ON",
                          "1: OPTS MLST type;unique;size;modify;", "1: FEAT"))
      << "and cost no login";
}

TEST_F(Login, LocalCharsetAsksForNoUtf8) {
  set_options({{"charset", "Local charset"}});
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_THAT(server.dialogue(1), Contains("OPTS MLST type;unique;size;modify;"));
  EXPECT_EQ(server.count("OPTS"), 1u);
}

TEST_F(Login, TheServerIsAskedAgainAfterALaterChoiceOfAutodetect) {
  for (const char* earlier : {"Local charset", "Force UTF-8"}) {
    SCOPED_TRACE(earlier);
    server.lacks("UTF8");
    set_options({{"charset", earlier}});
    set_options({{"charset", "Autodetect"}});
    (void)server.take_dialogue();
    EXPECT_EQ(connect(), SUCCESS);
    EXPECT_THAT(server.take_dialogue(), Contains(testing::EndsWith(": OPTS UTF8 ON")));
    // The refusal counts: nobody forces UTF-8 any more.
    const fakes::Latin1Locale locale;
    _FS_FILE_V2 file;
    file.name = "\xC3\xA9";
    EXPECT_EQ(protocol->CreateDirectory(earlier, &file, nullptr), FOLDER_CREATION_FAILED);
    EXPECT_THAT(server.take_dialogue(), Contains(testing::EndsWith("/\xE9")));
  }
}

TEST_F(Login, ForcedUtf8StillAsks) {
  set_options({{"charset", "Force UTF-8"}});
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_THAT(server.dialogue(1), Contains("OPTS UTF8 ON"));
}

TEST_F(Login, FeaturesTellServerTimesUnlessLocalOnesAreWanted) {
  EXPECT_EQ(protocol->GetFeature(), 0x920);
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_EQ(protocol->GetFeature(), 0x920);
  set_options({{"use_server_time", "true"}});
  EXPECT_EQ(protocol->GetFeature(), 0x920);
  set_options({{"use_server_time", "false"}});
  EXPECT_EQ(protocol->GetFeature(), 0x20) << "the server lists MFMT";
  server.lacks("MFMT");
  EXPECT_EQ(connect(), SUCCESS);
  EXPECT_EQ(protocol->GetFeature(), 0x120);
}

TEST_F(Login, FindsAnIpv6Server) {
  FtpServer both{true};
  both.add_file("/a", "six");
  EXPECT_EQ(connect_with(fakes::login_document(both.url6())), SUCCESS);
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/", &list, nullptr), SUCCESS);
  EXPECT_THAT(list.names(), ElementsAre("a"));
  protocol.release();
}

TEST_F(Login, ActiveModeLetsTheServerConnect) {
  connected("", {{"active", "true"}});
  fakes::FileList list;
  EXPECT_EQ(protocol->GetFileList("/docs", &list, nullptr), SUCCESS);
  EXPECT_THAT(server.dialogue(), Contains(StartsWith("1: EPRT |1|127.0.0.1|")));
  EXPECT_EQ(server.count("EPSV") + server.count("PASV"), 0u);
  EXPECT_EQ(list.files().size(), 3u);
}

TEST_F(Login, SeveralObjectsMayLogInAtOnceFromTheFirstMomentOn) {
  constexpr int kThreads = 8;
  std::latch start{kThreads};
  std::atomic<int> successes{0};
  std::vector<std::thread> threads;
  for (int n = 0; n < kThreads; ++n) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      fakes::ScopedProtocol own;
      if (own->Connect(nullptr, fakes::login_document(server.url()).c_str()) == SUCCESS) ++successes;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(successes, kThreads);
}

}  // namespace
