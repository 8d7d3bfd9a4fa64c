// Which answers mean that a command was carried out.
#pragma once

#include <string_view>

#include "transport/ftp/reply_lines.h"

namespace ftp_plugin {

/// libcurl takes every code below 400 for the success of a raw command, also "150 wait" and "350 and then?":
/// then the server has done nothing yet. Judges the commands that change something; what libcurl sends on its
/// own account it judges itself. Pinned by AnswerOfAnotherClass.IsNoSuccess.
/// And it takes "450" to any listing for an empty directory. Servers of old mean that by it, but they do not
/// know MLSD; there it is a refusal. Pinned by Listing.ARefusalForTheMomentIsNoEmptyListing.
class answer_class {
 public:
  /// A request begins.
  void begin() noexcept { *this = {}; }

  /// `command` was sent.
  void take_command(std::string_view command) noexcept { wanted_ = class_for(command); }

  /// The server has said `line`.
  void take_line(std::string_view line) noexcept {
    if (wanted_ == kAny || !ends_reply(line)) return;
    if (wanted_ == kNot450) {
      is_wrong_ = line.starts_with("450");
    } else if (line[0] < '4' && line[0] != wanted_) {  // other refusals are libcurl's own affair
      is_wrong_ = true;
    }
    wanted_ = kAny;
  }

  /// Whether libcurl takes an answer of this request for a success that is none.
  [[nodiscard]] bool is_wrong() const noexcept { return is_wrong_; }

 private:
  static constexpr char kAny = '\0';
  static constexpr char kNot450 = 'n';

  /// First digit of the code that is the success of `command`, or one of the above.
  static constexpr char class_for(std::string_view command) noexcept {
    for (const std::string_view verb : {"MKD ", "DELE ", "RMD ", "MFMT ", "RNTO "}) {
      if (command.starts_with(verb)) return '2';
    }
    if (command.starts_with("RNFR ")) return '3';
    return command.starts_with("MLSD") ? kNot450 : kAny;
  }

  char wanted_ = kAny;
  bool is_wrong_ = false;
};

}  // namespace ftp_plugin
