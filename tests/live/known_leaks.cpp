// Leaks of the libraries underneath that no caller can mend, for the leak check of the address sanitizer.
// Without that sanitizer nobody calls these functions.

extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __asan_default_options();

extern "C" const char* __lsan_default_suppressions() {
  // libssh2 1.10 loses 56 bytes of each ECDSA key that it reads. libcurl's logins lose them as well.
  return "leak:libssh2_userauth_publickey_fromfile_ex\n";
}

// The leak passes through a library without frame pointers; the quick way would end there.
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
