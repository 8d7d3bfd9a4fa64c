#include "host/cli/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "host/failure.h"
#include "host/text.h"

namespace ftp_host {
namespace {

constexpr const char* kAbout =
    "Works with files on FTP, FTPS and SFTP servers through the ftp.so plug-in.\n"
    "\n"
    "URL is ftp://[user@]host[:port]/path, ftps://... (TLS, if the server offers it) or sftp://...\n"
    "On FTP the path begins in the directory that the login leads to; ftp://host//path is absolute.\n"
    "Without a user the login is anonymous. The password comes from --password-stdin, from the environment\n"
    "variable FTP_PASSWORD, or from a prompt; that of a proxy from FTP_PROXY_PASSWORD.\n"
    "Neither certificates nor host keys are checked.";

/// Thirty years: clocks count nanoseconds, and those of a much longer time do not fit their number.
constexpr long kLongestSeconds = 1'000'000'000;

std::optional<std::int64_t> parse_offset(std::string_view text) {
  const auto number = parse_number<std::int64_t>(text);
  return number && *number >= 0 ? number : std::nullopt;
}

/// What the options fill before it is checked.
struct Raw {
  std::string proxy, limit_rate, range;
  long timeout = 300;
};

void add_common(CLI::App& app, Arguments& arguments, Raw& raw) {
  app.add_flag("--json", arguments.json, "Results as JSON")->group("Output");
  app.add_flag("-q,--quiet", arguments.quiet, "No notices and no progress")->group("Output");
  app.add_flag("-v,--verbose", arguments.verbosity, "Say what is done; twice: the plug-in's log, too")
      ->group("Output");
  app.add_option("--trace", arguments.trace_file, "Write the plug-in's log to FILE, without passwords")
      ->type_name("FILE")
      ->group("Output");
  app.add_option("--plugin", arguments.plugin_file,
                 "The plug-in's library (default: ftp.so beside this program)")
      ->type_name("FILE")
      ->group("Connection");
  app.add_option("-u,--user", arguments.connect.user, "User name; overrides the one in the URL")
      ->type_name("NAME")
      ->group("Connection");
  app.add_flag("--password-stdin", arguments.password_stdin,
               "The password is the first line of standard input")
      ->group("Connection");
  app.add_flag("--active", arguments.connect.active, "The server opens the data connections")
      ->group("Connection");
  app.add_option("--proxy", raw.proxy, "socks4, socks5, http-tunnel or http")
      ->type_name("TYPE://[USER@]HOST:PORT")
      ->group("Connection");
  app.add_option("--charset", arguments.connect.charset,
                 "Names on the server: auto, utf8, or local (the locale's character set)")
      ->check(CLI::IsMember({"auto", "utf8", "local"}))
      ->type_name("SET")
      ->group("Connection");
  app.add_option("--limit-rate", raw.limit_rate, "Bytes per second of each file, such as 500K or 2M")
      ->type_name("RATE")
      ->group("Connection");
  app.add_option("--timeout", raw.timeout,
                 "Give up when an operation does nothing for so long; 0: never (default 300)")
      ->type_name("SECONDS")
      ->check(CLI::Range(0L, kLongestSeconds))
      ->group("Connection");
}

void add_verbs(CLI::App& app, Arguments& arguments, Raw& raw) {
  const auto verb = [&](const char* name, const char* about) {
    CLI::App* const sub = app.add_subcommand(name, about);
    sub->fallthrough();
    return sub;
  };
  const auto operand = [&](CLI::App* sub, const char* name, const char* about, bool required = true) {
    sub->add_option_function<std::string>(
           name, [&arguments](const std::string& text) { arguments.operands.push_back(text); }, about)
        ->required(required);
  };

  verb("inspect", "Version, protocols and fields of the plug-in");

  CLI::App* const ls = verb("ls", "List a directory");
  ls->add_flag("-l", arguments.long_form, "Kind, size and time as well");
  ls->add_flag("-R,--recursive", arguments.recursive, "Everything below");
  operand(ls, "URL", "Directory or file");

  operand(verb("stat", "Kind, size and time of one file or directory"), "URL", "File or directory");

  CLI::App* const cat = verb("cat", "Write a file to standard output");
  cat->add_option("--range", raw.range, "Bytes A to B, both included; A- to the end; -N the last N")
      ->type_name("A-B");
  operand(cat, "URL", "File");

  CLI::App* const get = verb("get", "Download a file or, with -r, a directory");
  get->add_flag("-r,-R,--recursive", arguments.recursive, "A directory and everything below");
  get->add_flag("--resume", arguments.resume, "Continue what an earlier run left; skip what is complete");
  operand(get, "URL", "File or directory");
  operand(get, "LOCAL", "File or directory to write (default: the same name, here)", false);

  CLI::App* const put = verb("put", "Upload a file or, with -r, a directory");
  put->add_flag("-r,-R,--recursive", arguments.recursive, "A directory and everything below");
  operand(put, "LOCAL", "File or directory");
  operand(put, "URL", "File to write; or a directory to put it in");

  CLI::App* const mkdir = verb("mkdir", "Make a directory");
  mkdir->add_flag("-p,--parents", arguments.parents, "Those above it as well; no failure when it is there");
  operand(mkdir, "URL", "Directory");

  CLI::App* const rm = verb("rm", "Remove a file or, with -r, a directory");
  rm->add_flag("-r,-R,--recursive", arguments.recursive, "A directory and everything below");
  operand(rm, "URL", "File or directory");

  operand(verb("rmdir", "Remove an empty directory"), "URL", "Directory");

  CLI::App* const mv = verb("mv", "Rename or move a file or directory");
  operand(mv, "URL", "File or directory");
  operand(mv, "NEW", "URL on the same server (into it, if it is a directory), or a plain new name");

  CLI::App* const touch = verb("touch", "Set the modification time; makes an empty file when there is none");
  touch->add_option("--time", arguments.time, "2024-03-05T07:08:09 (local, or UTC with Z), @seconds or now")
      ->type_name("TIME");
  operand(touch, "URL", "File");

  CLI::App* const sync = verb("sync", "Make a directory equal to another, from or to the server");
  sync->add_flag("--delete", arguments.remove, "Remove what the source does not have");
  sync->add_flag("-n,--dry-run", arguments.dry_run, "Only tell what would be done");
  sync->add_option("--parallel", arguments.parallel, "Files at a time (default 2)")
      ->check(CLI::Range(1u, 16u))
      ->type_name("N");
  sync->add_option("--include", arguments.includes, "Only files that match; may be given several times")
      ->type_name("PATTERN")
      ->take_all()
      ->allow_extra_args(false);
  sync->add_option("--exclude", arguments.excludes, "Leave out what matches; may be given several times")
      ->type_name("PATTERN")
      ->take_all()
      ->allow_extra_args(false);
  sync->add_option("--modify-window", arguments.modify_window,
                   "Seconds that count as no difference (default 0)")
      ->check(CLI::Range(0L, kLongestSeconds))
      ->type_name("SECONDS");
  operand(sync, "SOURCE", "URL or local directory");
  operand(sync, "TARGET", "Local directory or URL");
}

void finish(Arguments& arguments, const Raw& raw) {
  arguments.timeout = std::chrono::seconds{raw.timeout};
  if (!raw.proxy.empty()) arguments.connect.proxy = parse_proxy(raw.proxy);
  if (!raw.limit_rate.empty())
    arguments.connect.limit_rate = parse_byte_count(raw.limit_rate, "--limit-rate");
  if (!raw.range.empty()) arguments.range = parse_range(raw.range);
}

}  // namespace

ByteRange parse_range(const std::string& text) {
  const std::size_t dash = text.find('-');
  ByteRange range;
  if (dash != std::string::npos) {
    const std::string first = text.substr(0, dash);
    const std::string last = text.substr(dash + 1);
    range.first = parse_offset(first);
    range.last = parse_offset(last);
    const bool readable =
        (first.empty() || range.first) && (last.empty() || range.last) && (range.first || range.last);
    if (readable && !(range.first && range.last && *range.last < *range.first)) return range;
  }
  throw Failure{ExitCode::usage, "--range " + text + ": expected A-B, A- or -N"};
}

Extent resolve_range(const ByteRange& range, std::int64_t size) {
  if (!range.first) {
    const std::int64_t length = std::min(range.last.value_or(0), size);
    return {size - length, length};
  }
  const std::int64_t offset = std::min(*range.first, size);
  const std::int64_t end = range.last ? (*range.last < size ? *range.last + 1 : size) : size;
  return {offset, end - offset};
}

Parsed parse_arguments(int count, const char* const* values) {
  Arguments arguments;
  Raw raw;
  CLI::App app{kAbout, "ftp-host"};
  app.require_subcommand(1);
  app.set_version_flag("--version", "ftp-host " FTP_HOST_VERSION);
  app.footer("\n" + exit_code_table());
  app.get_formatter()->column_width(34);
  add_common(app, arguments, raw);
  add_verbs(app, arguments, raw);
  try {
    app.parse(count, values);
    arguments.verb = app.get_subcommands().front()->get_name();
    finish(arguments, raw);
  } catch (const CLI::ParseError& error) {
    std::ostringstream out, complaint;
    const int code = app.exit(error, out, complaint);
    if (code == 0) return Parsed{std::nullopt, out.str(), 0};
    const std::vector<std::string> rest = app.remaining();
    if (app.get_subcommands().empty() && !rest.empty() && !rest.front().starts_with('-'))
      complaint.str(rest.front() + " is no verb\nRun with --help for more information.\n");
    return Parsed{std::nullopt, "ftp-host: " + complaint.str(), static_cast<int>(ExitCode::usage)};
  } catch (const Failure& failure) {
    return Parsed{std::nullopt, std::string{"ftp-host: "} + failure.what() + "\n",
                  static_cast<int>(failure.code())};
  }
  return Parsed{std::move(arguments), {}, 0};
}

}  // namespace ftp_host
