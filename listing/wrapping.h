// Signed 64-bit arithmetic that wraps. Server text decides the operands, so overflow is ordinary input here.
#pragma once

#include <cstdint>

namespace ftp_plugin {

[[nodiscard]] constexpr std::int64_t wrapping_add(std::int64_t a, std::int64_t b) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

[[nodiscard]] constexpr std::int64_t wrapping_sub(std::int64_t a, std::int64_t b) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

[[nodiscard]] constexpr std::int64_t wrapping_mul(std::int64_t a, std::int64_t b) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

}  // namespace ftp_plugin
