#include "host/cli/arguments.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "host/cli/verbs.h"
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

std::optional<std::int64_t> parse_offset(std::string_view text) {
  const auto number = parse_number<std::int64_t>(text);
  return number && *number >= 0 ? number : std::nullopt;
}

/// Options that every verb takes.
void add_common(CLI::App& app, Arguments& arguments) {
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
  app.add_option_function<std::string>(
         "--proxy", [&arguments](const std::string& text) { arguments.connect.proxy = parse_proxy(text); },
         "socks4, socks5, http-tunnel or http")
      ->type_name("TYPE://[USER@]HOST:PORT")
      ->group("Connection");
  app.add_option("--charset", arguments.connect.charset,
                 "Names on the server: auto, utf8, or local (the locale's character set)")
      ->check(CLI::IsMember({"auto", "utf8", "local"}))
      ->type_name("SET")
      ->group("Connection");
  app.add_option_function<std::string>(
         "--limit-rate",
         [&arguments](const std::string& text) {
           arguments.connect.limit_rate = parse_byte_count(text, "--limit-rate");
         },
         "Bytes per second of each file, such as 500K or 2M")
      ->type_name("RATE")
      ->group("Connection");
  app.add_option_function<long>(
         "--timeout", [&arguments](long seconds) { arguments.timeout = std::chrono::seconds{seconds}; },
         "Give up when an operation does nothing for so long; 0: never (default 300)")
      ->type_name("SECONDS")
      ->check(CLI::Range(0L, kLongestSeconds))
      ->group("Connection");
}

void add_verbs(CLI::App& app, Arguments& arguments) {
  for (const Verb& verb : all_verbs()) {
    CLI::App* const sub = app.add_subcommand(std::string{verb.name}, std::string{verb.about});
    sub->fallthrough();
    sub->footer(fmt::format("\nExample:\n  ftp-host {}\n\n{}", verb.example, exit_code_table()));
    verb.add_options(*sub, arguments);
  }
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
  CLI::App app{kAbout, "ftp-host"};
  app.require_subcommand(1);
  app.set_version_flag("--version", "ftp-host " FTP_HOST_VERSION);
  app.footer("\n" + exit_code_table());
  app.get_formatter()->column_width(34);
  add_common(app, arguments);
  add_verbs(app, arguments);
  try {
    app.parse(count, values);
    arguments.verb = app.get_subcommands().front()->get_name();
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
