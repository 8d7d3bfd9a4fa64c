#include "host/remote/remote_path.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "host/failure.h"
#include "host/text.h"

namespace ftp_host {
namespace {

/// Whether what follows the name or the bracketed address is nothing, or the number of a port.
bool has_good_port(std::string_view server) {
  const std::size_t bracket = server.starts_with('[') ? server.find(']') : 0;
  if (bracket == std::string_view::npos) return false;
  std::string_view rest =
      server.substr(bracket == 0 ? std::min(server.find(':'), server.size()) : bracket + 1);
  if (rest.empty()) return true;
  if (!rest.starts_with(':')) return false;
  rest.remove_prefix(1);
  const auto port = parse_number<std::uint16_t>(rest);
  return port && *port > 0;
}

Failure usage(std::string_view what) { return Failure{ExitCode::usage, std::string{what}}; }

}  // namespace

std::string RemoteUrl::text() const { return root() + path; }

bool is_remote_url(std::string_view text) { return text.find("://") != std::string_view::npos; }

std::string percent_decode(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out.push_back(text[i]);
      continue;
    }
    const std::string_view digits = text.substr(i + 1, 2);
    const auto byte = parse_number<std::uint8_t>(digits, 16);
    if (digits.size() < 2 || !byte)
      throw usage("a % in a URL needs two hexadecimal digits (a plain % is %25)");
    if (*byte == 0) throw usage("a URL cannot hold a zero byte");
    out.push_back(static_cast<char>(*byte));
    i += 2;
  }
  return out;
}

std::string tidy_path(std::string_view path, bool absolute) {
  const bool keeps_two = absolute && path.starts_with("//");
  std::vector<std::string_view> parts;
  while (!path.empty()) {
    const std::size_t slash = std::min(path.find('/'), path.size());
    const std::string_view part = path.substr(0, slash);
    path.remove_prefix(std::min(slash + 1, path.size()));
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
  }
  std::string out = keeps_two ? "/" : "";
  for (const std::string_view part : parts) out.append("/").append(part);
  if (parts.empty()) out += "/";
  return out;
}

RemoteUrl parse_remote_url(std::string_view text) {
  RemoteUrl url;
  const std::size_t colon = text.find("://");
  if (colon == std::string_view::npos) throw usage(fmt::format("{} is not a URL (ftp://host/path)", text));
  url.scheme = to_lower(text.substr(0, colon));
  if (url.scheme != "ftp" && url.scheme != "ftps" && url.scheme != "sftp") {
    throw usage(fmt::format("the scheme {} is not served: use ftp, ftps or sftp", url.scheme));
  }
  std::string_view rest = text.substr(colon + 3);
  const std::size_t slash = std::min(rest.find('/'), rest.size());
  std::string_view authority = rest.substr(0, slash);
  const std::string path = percent_decode(rest.substr(slash));
  if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
    const std::string_view login = authority.substr(0, at);
    if (login.find(':') != std::string_view::npos) {
      throw usage(
          "a password is not taken from the command line, where every user of the machine can read it: "
          "use the prompt, the environment variable FTP_PASSWORD, or --password-stdin");
    }
    url.user = percent_decode(login);
    authority.remove_prefix(at + 1);
  }
  url.server = authority;
  if (url.server.empty() || url.server.front() == ':') throw usage(fmt::format("{} names no host", text));
  if (!has_good_port(url.server)) throw usage(fmt::format("{}: the port is a number up to 65535", text));
  url.path = tidy_path(path, url.scheme != "sftp");
  url.directory = path.ends_with('/');
  return url;
}

std::string join_path(std::string_view directory, std::string_view name) {
  std::string out{directory};
  if (!out.ends_with('/')) out.push_back('/');
  return out.append(name);
}

std::string parent_path(std::string_view path) {
  if (is_root(path)) return std::string{path};
  const std::size_t slash = path.rfind('/');
  if (slash == 1 && path[0] == '/') return "//";
  return std::string{slash == 0 ? "/" : path.substr(0, slash)};
}

}  // namespace ftp_host
