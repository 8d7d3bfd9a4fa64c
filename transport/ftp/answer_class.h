// Which answers mean that a command was carried out.
#pragma once

#include <string_view>

#include "transport/ftp/reply_lines.h"

namespace ftp_plugin {

/// libcurl takes every code below 400 for the success of a raw command, also "150 wait" and "350 and then?":
/// then the server has done nothing yet. Judges the commands that change something; what libcurl sends on its
/// own account it judges itself.
/// Pinned by AnswerOfAnotherClass.IsNoSuccess.
class answer_class {
 public:
  /// A request begins.
  void begin() noexcept { *this = {}; }

  /// `command` was sent.
  void take_command(std::string_view command) noexcept { wanted_ = class_for(command); }

  /// The server has said `line`.
  void take_line(std::string_view line) noexcept {
    if (wanted_ == kAny || !ends_reply(line)) return;
    // A refusal is libcurl's own affair.
    if (line[0] < '4' && line[0] != wanted_) is_wrong_ = true;
    wanted_ = kAny;
  }

  /// Whether a command of this request was answered, and neither carried out nor refused.
  [[nodiscard]] bool is_wrong() const noexcept { return is_wrong_; }

 private:
  static constexpr char kAny = '\0';

  /// First digit of the code that is the success of `command`.
  static constexpr char class_for(std::string_view command) noexcept {
    for (const std::string_view verb : {"MKD ", "DELE ", "RMD ", "MFMT ", "RNTO "}) {
      if (command.starts_with(verb)) return '2';
    }
    return command.starts_with("RNFR ") ? '3' : kAny;
  }

  char wanted_ = kAny;
  bool is_wrong_ = false;
};

}  // namespace ftp_plugin
