// Memory that runs out at a chosen moment, on the calling thread only: the scripted server keeps its own.
//
// Counted are the allocations of the plug-in (operator new and malloc), those of libcurl, and the options
// that the plug-in gives to libcurl. Options that are only reset do not count: libcurl needs no memory for
// them.
#pragma once

#include <array>
#include <cstddef>

namespace leaks {

/// The only names of files in URLs, see failures.cpp.
inline constexpr std::array kFileNames{"a.txt", "new.bin", "y"};

/// Hands libcurl its memory functions. Once, before anything else asks for libcurl.
void start();

/// Lets the n-th allocation (or option) from here on fail, the first being number 1, until the scope ends.
class Failure {
 public:
  enum class Of { kMemory, kOption };
  Failure(Of kind, std::size_t n);
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;
  ~Failure();
  /// Whether there were as many, so that one has failed.
  [[nodiscard]] static bool happened();
};

/// Blocks of libcurl that are not freed yet, of all threads.
[[nodiscard]] long blocks_of_libcurl();

}  // namespace leaks
