#include "common/iconv_list.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "boundary/log.h"
#include "common/ascii.h"

namespace ftp_plugin {
namespace {

struct builtin_encoding {
  std::size_t count;
  std::array<const char*, 13> names;
};

// What glibc converts by itself. Its configuration lists only what it needs a module for, so none of these
// stands there.
constexpr builtin_encoding kBuiltin[] = {
    {13,
     {"ANSI_X3.4-1968", "ANSI_X3.4", "ISO-IR-6", "ANSI_X3.4-1986", "ISO_646.IRV:1991", "ASCII", "ISO646-US",
      "US-ASCII", "US", "IBM367", "CP367", "CSASCII", "OSF00010020"}},
    {6, {"ISO-10646/UTF8", "UTF-8", "UTF8", "ISO-IR-193", "OSF05010001", "ISO-10646/UTF-8"}},
    {11,
     {"ISO-10646/UCS4", "UCS-4", "UCS4", "UCS-4BE", "CSUCS4", "ISO-10646", "10646-1:1993",
      "10646-1:1993/UCS4", "OSF00010104", "OSF00010105", "OSF00010106"}},
    {1, {"UCS-4LE"}},
    {6, {"ISO-10646/UCS2", "UCS-2", "UCS2", "OSF00010100", "OSF00010101", "OSF00010102"}},
    {2, {"UNICODELITTLE", "UCS-2LE"}},
    {2, {"UNICODEBIG", "UCS-2BE"}},
    {1, {"WCHAR_T"}},
};

using callback = int (*)(unsigned int namescount, const char* const* names, void* data);

/// A name as callers write it and as the C library's own list shows it: "CSGB2312" for the file's
/// "csGB2312//".
std::string plain_name(std::string_view name) {
  std::string result{name.substr(0, name.find_last_not_of('/') + 1)};
  std::ranges::transform(result, result.begin(), ascii::upper);
  return result;
}

/// Takes the first word off `text`; empty when there is none.
std::string_view take_word(std::string_view& text) noexcept {
  constexpr std::string_view kBlanks = " \t\r\v\f";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
  text.remove_prefix(word.size());
  return word;
}

/// Groups the names of the files by encoding, in the order in which the files mention them.
class name_table {
 public:
  void add_encoding(const std::string& name) {
    if (!name.empty() && !known(name)) {
      groups_.push_back({name});
      group_of_.emplace(name, groups_.size() - 1);
    }
  }

  /// The encoding may be added later than its alias.
  void add_alias(const std::string& alias, const std::string& name) {
    if (!alias.empty()) {
      aliases_.emplace_back(alias, name);
    }
  }

  /// Aliases of aliases find their encoding in the round after it has been found; those that lead nowhere
  /// could not be opened and are left out.
  [[nodiscard]] std::vector<encoding_names> finish() {
    for (bool found = true; found;) {
      found = false;
      for (auto& [alias, name] : aliases_) {
        if (const auto group = group_of_.find(name); !alias.empty() && group != group_of_.end()) {
          if (!known(alias)) {
            groups_[group->second].push_back(alias);
            group_of_.emplace(alias, group->second);
          }
          alias.clear();
          found = true;
        }
      }
    }
    return std::move(groups_);
  }

 private:
  [[nodiscard]] bool known(const std::string& name) const { return group_of_.count(name) != 0; }

  std::vector<encoding_names> groups_;
  std::unordered_map<std::string, std::size_t> group_of_;
  std::vector<std::pair<std::string, std::string>> aliases_;
};

void read_file(const std::filesystem::path& path, name_table& table) {
  constexpr std::string_view kInternal = "INTERNAL";  // glibc's pivot: no encoding that could be asked for
  std::ifstream file{path};
  for (std::string line; std::getline(file, line);) {
    std::string_view rest = std::string_view{line}.substr(0, line.find('#'));
    const std::string_view kind = take_word(rest);
    const std::string_view from = take_word(rest);
    const std::string_view to = take_word(rest);
    if (to.empty()) {
      continue;
    }
    if (kind == "alias") {
      table.add_alias(plain_name(from), plain_name(to));
    } else if (kind == "module") {
      for (const std::string_view name : {from, to}) {
        if (name != kInternal) {
          table.add_encoding(plain_name(name));
        }
      }
    }
  }
}

/// The list in the shape in which callbacks receive it.
class encoding_list {
 public:
  explicit encoding_list(std::vector<encoding_names> groups) : groups_{std::move(groups)} {
    pointers_.reserve(groups_.size());
    for (const encoding_names& names : groups_) {
      std::vector<const char*>& pointers = pointers_.emplace_back();
      pointers.reserve(names.size());
      for (const std::string& name : names) {
        pointers.push_back(name.c_str());
      }
    }
  }
  encoding_list(const encoding_list&) = delete;
  encoding_list& operator=(const encoding_list&) = delete;

  void replay(callback do_one, void* data) const {
    for (const std::vector<const char*>& names : pointers_) {
      if (do_one(static_cast<unsigned int>(names.size()), names.data(), data) != 0) {
        return;
      }
    }
  }

 private:
  std::vector<encoding_names> groups_;
  std::vector<std::vector<const char*>> pointers_;  // into groups_
};

/// The list of this process, or null when it could not be made for want of memory; the next call tries again.
const encoding_list* process_list() noexcept {
  try {
    static const encoding_list list{read_encodings(find_modules_folder())};
    return &list;
  } catch (...) {
    log_exception("iconvlist");
    return nullptr;
  }
}

bool holds_modules(const std::filesystem::path& folder) {
  std::error_code ignored;
  return std::filesystem::exists(folder / "gconv-modules", ignored);
}

}  // namespace

std::string find_modules_folder() {
#if defined(__x86_64__)
  constexpr const char* kMultiArch = "x86_64-linux-gnu";
#elif defined(__aarch64__)
  constexpr const char* kMultiArch = "aarch64-linux-gnu";
#elif defined(__riscv)
  constexpr const char* kMultiArch = "riscv64-linux-gnu";
#elif defined(__powerpc64__)
  constexpr const char* kMultiArch = "powerpc64le-linux-gnu";
#elif defined(__s390x__)
  constexpr const char* kMultiArch = "s390x-linux-gnu";
#else
  constexpr const char* kMultiArch = "";
#endif
  std::vector<std::filesystem::path> candidates;

  // The modules lie beside the library. gnu_get_libc_version tells its place because the sanitizers put
  // functions of their own in front of iconv's.
  Dl_info libc{};
  void* const symbol = dlsym(RTLD_DEFAULT, "gnu_get_libc_version");
  if (symbol != nullptr && dladdr(symbol, &libc) != 0 && libc.dli_fname != nullptr) {
    const std::filesystem::path library{libc.dli_fname};
    candidates.push_back(library.parent_path() / "gconv");
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::canonical(library, error);
    if (!error) {
      candidates.push_back(resolved.parent_path() / "gconv");
    }
    candidates.push_back("/usr" / library.parent_path().relative_path() / "gconv");
  }
  for (const char* folder : {"/usr/lib", "/lib"}) {
    candidates.push_back(std::filesystem::path{folder} / kMultiArch / "gconv");
  }
  candidates.emplace_back("/usr/lib64/gconv");
  candidates.emplace_back("/usr/lib/gconv");

  const auto found = std::find_if(candidates.begin(), candidates.end(), holds_modules);
  return found == candidates.end() ? std::string{} : found->string();
}

std::vector<encoding_names> read_encodings(const std::string& folder) {
  name_table table;
  for (const builtin_encoding& encoding : kBuiltin) {
    table.add_encoding(encoding.names[0]);
    for (std::size_t n = 1; n < encoding.count; ++n) {
      table.add_alias(encoding.names[n], encoding.names[0]);
    }
  }
  if (!folder.empty()) {
    const std::filesystem::path base{folder};
    read_file(base / "gconv-modules", table);
    std::vector<std::filesystem::path> parts;
    std::error_code error;
    for (std::filesystem::directory_iterator entry{base / "gconv-modules.d", error}, end;
         !error && entry != end; entry.increment(error)) {
      if (entry->path().extension() == ".conf") {
        parts.push_back(entry->path());
      }
    }
    std::sort(parts.begin(), parts.end());
    for (const std::filesystem::path& part : parts) {
      read_file(part, table);
    }
  }
  return table.finish();
}

void iconvlist(callback do_one, void* data) {
  if (const encoding_list* list = process_list(); list != nullptr) {
    list->replay(do_one, data);
    return;
  }
  for (const builtin_encoding& encoding : kBuiltin) {
    if (do_one(static_cast<unsigned int>(encoding.count), encoding.names.data(), data) != 0) {
      return;
    }
  }
}

}  // namespace ftp_plugin
