// Loaded into a daemon under test (LD_PRELOAD), where it adds one user that this machine does not have: name,
// password and home come from the environment. PAM reads its services from /etc/pam.d and the user data base
// is /etc/passwd; a test must write to neither. Every daemon that asks the system for its users can so be
// logged in to with a name and password of our own.
//
// The user is `nobody` when the daemon runs as root, and whoever runs the tests otherwise.
// Only what the daemons call is here, declared by hand so that no PAM headers are needed to build the tests.
#include <dlfcn.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

passwd* real_getpwnam(const char* name) {
  using Function = passwd* (*)(const char*);
  static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getpwnam"));
  return next == nullptr ? nullptr : next(name);
}

passwd* test_user(const char* name, const char* home) {
  static passwd entry;
  static char name_copy[64];
  static char shell[] = "/bin/sh";
  static char star[] = "*";
  static char home_copy[4096];
  if (const passwd* nobody = real_getpwnam("nobody"); getuid() == 0 && nobody != nullptr) {
    entry.pw_uid = nobody->pw_uid;
    entry.pw_gid = nobody->pw_gid;
  } else {
    entry.pw_uid = getuid();
    entry.pw_gid = getgid();
  }
  strncpy(name_copy, name, sizeof name_copy - 1);
  strncpy(home_copy, home, sizeof home_copy - 1);
  entry.pw_name = name_copy;
  entry.pw_passwd = star;
  entry.pw_gecos = name_copy;
  entry.pw_dir = home_copy;
  entry.pw_shell = shell;
  return &entry;
}

constexpr int kSuccess = 0;
constexpr int kAuthenticationFailed = 7;
constexpr int kConversationAgain = 30;
constexpr int kIncomplete = 31;
constexpr int kPromptEchoOff = 1;
constexpr int kItemUser = 2;
constexpr int kItemConversation = 5;

}  // namespace

extern "C" {

passwd* getpwnam(const char* name) {
  const char* user = std::getenv("LIVE_TEST_USER");
  const char* home = std::getenv("LIVE_TEST_HOME");
  if (user != nullptr && home != nullptr && std::strcmp(name, user) == 0) return test_user(name, home);
  passwd* known = real_getpwnam(name);
  // The SSH server refuses to start without the account that its unprivileged half runs as.
  if (known == nullptr && std::strcmp(name, "sshd") == 0) return test_user(name, "/");
  return known;
}

struct pam_message {
  int msg_style;
  const char* msg;
};

struct pam_response {
  char* resp;
  int resp_retcode;
};

struct pam_conv {
  int (*conv)(int count, const pam_message** messages, pam_response** responses, void* context);
  void* appdata_ptr;
};

struct pam_handle {
  char* user;
  pam_conv conversation;
  const char* right_user;
  const char* right_password;
};

int pam_start(const char* /*service*/, const char* user, const pam_conv* conversation, pam_handle** out) {
  auto* handle = static_cast<pam_handle*>(std::calloc(1, sizeof(pam_handle)));
  if (handle == nullptr) return kAuthenticationFailed;
  handle->user = strdup(user == nullptr ? "" : user);
  handle->conversation = *conversation;
  // Now: the SSH server empties its environment before it asks for the password.
  handle->right_user = std::getenv("LIVE_TEST_USER");
  handle->right_password = std::getenv("LIVE_TEST_PASSWORD");
  *out = handle;
  return kSuccess;
}

int pam_end(pam_handle* handle, int /*status*/) {
  if (handle != nullptr) std::free(handle->user);
  std::free(handle);
  return kSuccess;
}

int pam_set_item(pam_handle* handle, int item, const void* value) {
  if (item == kItemConversation) handle->conversation = *static_cast<const pam_conv*>(value);
  return kSuccess;
}

int pam_get_item(const pam_handle* handle, int item, const void** value) {
  *value = item == kItemUser ? handle->user : nullptr;
  return kSuccess;
}

int pam_authenticate(pam_handle* handle, int /*flags*/) {
  if (handle->right_user == nullptr || handle->right_password == nullptr) return kAuthenticationFailed;
  const pam_message message{kPromptEchoOff, "Password: "};
  const pam_message* messages = &message;
  pam_response* response = nullptr;
  const int answer = handle->conversation.conv(1, &messages, &response, handle->conversation.appdata_ptr);
  // A server that has the name but not yet the password asks again once it has both.
  if (answer == kConversationAgain) return kIncomplete;
  if (answer != kSuccess || response == nullptr) return kAuthenticationFailed;
  const bool right = response->resp != nullptr && std::strcmp(response->resp, handle->right_password) == 0 &&
                     std::strcmp(handle->user, handle->right_user) == 0;
  std::free(response->resp);
  std::free(response);
  return right ? kSuccess : kAuthenticationFailed;
}

int pam_acct_mgmt(pam_handle*, int) { return kSuccess; }
int pam_setcred(pam_handle*, int) { return kSuccess; }
int pam_chauthtok(pam_handle*, int) { return kSuccess; }
int pam_open_session(pam_handle*, int) { return kSuccess; }
int pam_close_session(pam_handle*, int) { return kSuccess; }
int pam_putenv(pam_handle*, const char*) { return kSuccess; }
const char* pam_getenv(pam_handle*, const char*) { return nullptr; }
char** pam_getenvlist(pam_handle*) { return static_cast<char**>(std::calloc(1, sizeof(char*))); }
const char* pam_strerror(pam_handle*, int code) { return code == kSuccess ? "success" : "refused"; }

}  // extern "C"
