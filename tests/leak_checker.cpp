// What every test program tells the leak checker of the address sanitizer, which asks by these names. Without
// that sanitizer nobody calls them.

extern "C" const char* __lsan_default_options();
extern "C" const char* __lsan_default_suppressions();

// A library that is loaded later gets its thread-local memory from the heap, and the checker guesses from the
// address where that begins: at the wrong offset in a page it guesses wrong, scans address 0 and crashes.
// Which tests that hits changes with the length of any path. Memory that only a thread-local variable leads
// to counts as leaked now; there is none. (The test preset `asan` says the same to the command-line host.)
extern "C" const char* __lsan_default_options() { return "use_tls=0:print_suppressions=0"; }

// Leaks of the libraries underneath that no caller can mend.
extern "C" const char* __lsan_default_suppressions() {
  // libssh2 1.10 loses 56 bytes of each ECDSA key that it reads. libcurl's logins lose them as well.
  return "leak:libssh2_userauth_publickey_fromfile_ex\n"
         // Where LOCPATH is set, the C library's newlocale never frees the list that it makes of it; a
         // library that is loaded with libcurl calls it.
         "leak:argz_add_sep\n";
}
