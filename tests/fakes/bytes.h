// File contents for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace fakes {

/// `count` bytes that repeat nowhere near, so that a block at the wrong place shows. The same for the same
/// seed.
[[nodiscard]] inline std::string some_bytes(std::size_t count, unsigned seed = 1) {
  std::mt19937_64 numbers{seed};
  std::string bytes;
  bytes.reserve(count + sizeof(std::uint64_t));
  while (bytes.size() < count) {
    const std::uint64_t number = numbers();
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
  }
  bytes.resize(count);
  return bytes;
}

}  // namespace fakes
