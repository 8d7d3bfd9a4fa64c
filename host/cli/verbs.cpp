#include "host/cli/verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "host/cli/commands.h"

namespace ftp_host {
namespace {

void add_operand(CLI::App& verb, Arguments& arguments, const char* name, const char* about,
                 bool required = true) {
  verb.add_option_function<std::string>(
          name, [&arguments](const std::string& text) { arguments.operands.push_back(text); }, about)
      ->required(required);
}

void add_recursive(CLI::App& verb, Arguments& arguments, const char* names, const char* about) {
  verb.add_flag(names, arguments.recursive, about);
}

void add_tree_flag(CLI::App& verb, Arguments& arguments) {
  add_recursive(verb, arguments, "-r,-R,--recursive", "A directory and everything below");
}

void add_parallel(CLI::App& verb, Arguments& arguments, const char* about) {
  verb.add_option("--parallel", arguments.parallel, about)->check(CLI::Range(1u, 16u))->type_name("N");
}

void add_patterns(CLI::App& verb, const char* name, std::vector<std::string>& patterns, const char* about) {
  verb.add_option(name, patterns, about)->type_name("PATTERN")->take_all()->allow_extra_args(false);
}

void add_nothing(CLI::App&, Arguments&) {}

void add_ls(CLI::App& verb, Arguments& arguments) {
  verb.add_flag("-l", arguments.long_form, "Kind, size and time as well");
  add_recursive(verb, arguments, "-R,--recursive", "Everything below");
  add_operand(verb, arguments, "URL", "Directory or file");
}

void add_url(CLI::App& verb, Arguments& arguments) {
  add_operand(verb, arguments, "URL", "File or directory");
}

void add_directory(CLI::App& verb, Arguments& arguments) { add_operand(verb, arguments, "URL", "Directory"); }

void add_cat(CLI::App& verb, Arguments& arguments) {
  verb.add_option_function<std::string>(
          "--range", [&arguments](const std::string& text) { arguments.range = parse_range(text); },
          "Bytes A to B, both included; A- to the end; -N the last N")
      ->type_name("A-B");
  add_operand(verb, arguments, "URL", "File");
}

void add_get(CLI::App& verb, Arguments& arguments) {
  add_tree_flag(verb, arguments);
  verb.add_flag("--resume", arguments.resume, "Continue what an earlier run left; skip what is complete");
  add_parallel(verb, arguments, "With -r: files at a time (default 2)");
  add_operand(verb, arguments, "URL", "File or directory");
  add_operand(verb, arguments, "LOCAL", "File or directory to write (default: the same name, here)", false);
}

void add_put(CLI::App& verb, Arguments& arguments) {
  add_tree_flag(verb, arguments);
  add_parallel(verb, arguments, "With -r: files at a time (default 2)");
  add_operand(verb, arguments, "LOCAL", "File or directory");
  add_operand(verb, arguments, "URL", "File to write; or a directory to put it in");
}

void add_mkdir(CLI::App& verb, Arguments& arguments) {
  verb.add_flag("-p,--parents", arguments.parents, "Those above it as well; no failure when it is there");
  add_directory(verb, arguments);
}

void add_rm(CLI::App& verb, Arguments& arguments) {
  add_tree_flag(verb, arguments);
  add_url(verb, arguments);
}

void add_mv(CLI::App& verb, Arguments& arguments) {
  add_url(verb, arguments);
  add_operand(verb, arguments, "NEW",
              "URL on the same server (into it, if it is a directory), or a plain new name");
}

void add_touch(CLI::App& verb, Arguments& arguments) {
  verb.add_option("--time", arguments.time, "2024-03-05T07:08:09 (local, or UTC with Z), @seconds or now")
      ->type_name("TIME");
  add_operand(verb, arguments, "URL", "File");
}

void add_sync(CLI::App& verb, Arguments& arguments) {
  verb.add_flag("--delete", arguments.remove, "Remove what the source does not have");
  verb.add_flag("-n,--dry-run", arguments.dry_run, "Only tell what would be done");
  add_parallel(verb, arguments, "Files at a time (default 2)");
  add_patterns(verb, "--include", arguments.includes, "Only files that match; may be given several times");
  add_patterns(verb, "--exclude", arguments.excludes, "Leave out what matches; may be given several times");
  verb.add_option("--modify-window", arguments.modify_window,
                  "Seconds that count as no difference (default 0)")
      ->check(CLI::Range(0L, kLongestSeconds))
      ->type_name("SECONDS");
  add_operand(verb, arguments, "SOURCE", "URL or local directory");
  add_operand(verb, arguments, "TARGET", "Local directory or URL");
}

constexpr Verb kVerbs[] = {
    {"inspect", "Version, protocols and fields of the plug-in", "--json inspect", add_nothing, run_inspect},
    {"ls", "List a directory", "ls -lR ftp://host/dir", add_ls, run_ls},
    {"stat", "Kind, size and time of one file or directory", "stat ftp://host/file", add_url, run_stat},
    {"cat", "Write a file to standard output", "cat --range 0-99 ftp://host/file", add_cat, run_cat},
    {"get", "Download a file or, with -r, a directory", "get -r --resume ftp://host/dir copy", add_get,
     run_get},
    {"put", "Upload a file or, with -r, a directory", "put -r photos sftp://ann@host/home/ann/photos",
     add_put, run_put},
    {"mkdir", "Make a directory", "mkdir -p ftp://host/a/b/c", add_mkdir, run_mkdir},
    {"rm", "Remove a file or, with -r, a directory", "rm -r ftp://host/dir", add_rm, run_rm},
    {"rmdir", "Remove an empty directory", "rmdir ftp://host/dir", add_directory, run_rmdir},
    {"mv", "Rename or move a file or directory", "mv ftp://host/old-name new-name", add_mv, run_mv},
    {"touch", "Set the modification time; makes an empty file when there is none",
     "touch --time 2024-03-05T07:08:09Z ftp://host/file", add_touch, run_touch},
    {"sync", "Make a directory equal to another, from or to the server",
     "sync --delete --dry-run photos ftps://ann@host/photos", add_sync, run_sync},
};

}  // namespace

std::span<const Verb> all_verbs() { return kVerbs; }

const Verb& verb_named(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kVerbs), std::end(kVerbs), [&](const Verb& verb) { return verb.name == name; });
  if (found == std::end(kVerbs)) throw Failure{ExitCode::usage, "unknown verb " + std::string{name}};
  return *found;
}

}  // namespace ftp_host
