// Runs one daemon and ends it, and everything it started, when the program that asked for it goes away:
//
//   daemon_guard FOLDER LOG PROGRAM ARGUMENT...
//
// The asking program holds the other end of the socket that is our standard input. A byte from it is the sign
// to stop. So is its end, by whatever death; nobody is left then to remove the daemon's temporary FOLDER, and
// the guard does it. (A death signal set in the daemon would not survive its change of user.) As the
// subreaper of its descendants the guard also finds the sessions that a daemon forked and forgot.
//
// Exit code: that of the daemon when it ends by itself, else 0.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace {

constexpr std::chrono::seconds kGrace{3};
constexpr int kGroupSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// Kills descendants until none is left: the children of a killed child become ours.
void kill_descendants() {
  const std::string path = "/proc/self/task/" + std::to_string(getpid()) + "/children";
  for (;;) {
    std::ifstream children{path};
    for (pid_t child = 0; children >> child;) kill(child, SIGKILL);
    if (waitpid(-1, nullptr, 0) < 0 && errno == ECHILD) return;
  }
}

void remove_folder(const char* folder) {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

[[noreturn]] void become(char** arguments, const char* log) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  // Descriptor 0 is writable too: some daemons complain about their configuration there.
  const int fd = open(log, O_RDWR | O_CREAT | O_APPEND, 0666);
  for (int target = 0; fd >= 0 && target < 3; ++target) dup2(fd, target);
  if (fd > 2) close(fd);
  // Some daemons close every descriptor there might be, for each session anew; with a limit of a million that
  // takes half a second.
  const rlimit files{4096, 4096};
  setrlimit(RLIMIT_NOFILE, &files);
  setsid();
  execv(arguments[0], arguments);
  std::fprintf(stderr, "%s: %s\n", arguments[0], std::strerror(errno));
  _exit(127);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 4) {
    std::fprintf(stderr, "usage: daemon_guard FOLDER LOG PROGRAM ARGUMENT...\n");
    return 64;
  }
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  // What ends a whole process group (Ctrl-C, a time limit) reaches the asking program too; its end is our
  // sign, and we must still be there to see it.
  for (const int number : kGroupSignals) signal(number, SIG_IGN);
  sigset_t children;
  sigemptyset(&children);
  sigaddset(&children, SIGCHLD);
  sigprocmask(SIG_BLOCK, &children, nullptr);
  const int deaths = signalfd(-1, &children, SFD_CLOEXEC);
  const pid_t daemon = fork();
  if (daemon < 0) return 71;
  if (daemon == 0) {
    for (const int number : kGroupSignals) signal(number, SIG_DFL);
    become(arguments + 3, arguments[2]);
  }

  using Clock = std::chrono::steady_clock;
  bool asked = false;
  bool orphaned = false;
  Clock::time_point deadline;
  for (;;) {
    pollfd watched[] = {{deaths, POLLIN, 0}, {asked ? -1 : STDIN_FILENO, POLLIN, 0}};
    int wait_ms = -1;
    if (asked) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      wait_ms = left.count() > 0 ? static_cast<int>(left.count()) : 0;
    }
    const int ready = poll(watched, 2, wait_ms);
    if (ready == 0) break;  // it does not want to go
    if ((watched[0].revents & POLLIN) != 0) {
      signalfd_siginfo ignored;
      if (read(deaths, &ignored, sizeof ignored) < 0) break;
      int status = 0;
      for (pid_t gone = 0; (gone = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (gone != daemon) continue;
        kill_descendants();
        if (asked) {
          if (orphaned) remove_folder(arguments[1]);
          return 0;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      }
    }
    char byte = 0;
    if (!asked && watched[1].revents != 0) {
      orphaned = read(STDIN_FILENO, &byte, 1) <= 0;
      asked = true;
      deadline = Clock::now() + kGrace;
      kill(daemon, SIGTERM);
    }
  }
  kill_descendants();
  if (orphaned) remove_folder(arguments[1]);
  return 0;
}
