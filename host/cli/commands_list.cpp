// inspect, ls and stat.
#include <fmt/format.h>

#include "host/cli/commands.h"
#include "host/cli/show.h"
#include "host/names.h"
#include "host/remote/link_loops.h"
#include "host/remote/look_up.h"

namespace ftp_host {
namespace {

std::string fields_table(const Json::Value& groups) {
  std::string out;
  for (const Json::Value& group : groups) {
    out += fmt::format("\n{}\n", group["name"].asString());
    for (const Json::Value& element : group["data"]) {
      for (const std::string& key : element.getMemberNames()) {
        const Json::Value& field = element[key];
        out += fmt::format("  {:<16} {:<36} {:<9} {}{}\n", key, field["label"].asString(),
                           field["optional"].asBool() ? "optional" : "required", field["value"].asString(),
                           field.isMember("default") ? ", default " + field["default"].asString() : "");
      }
    }
  }
  return out;
}

/// Lists, as text or into one JSON array.
class Lister {
 public:
  Lister(Context& context, Session& session) : context_{context}, session_{session} {}

  void directory(const Listing& listing, const std::string& id, const std::string& shown, bool heading) {
    if (!path_.enter(listing, id)) {
      context_.console.notice(shown + ": a link to a directory above it, or too deep: left out");
      return;
    }
    const WalkGuard inside{path_};
    note_hostile(shown, listing);
    if (heading) text(fmt::format("{}{}:\n", printed_ ? "\n" : "", context_.console.shown_name(shown)));
    for (const Entry& item : listing.entries) entry(item);
    if (context_.arguments.recursive) below(listing, shown);
  }

  void entry(const Entry& item) {
    if (context_.arguments.json) {
      json_.append(entry_json(item));
      return;
    }
    text((context_.arguments.long_form ? long_prefix(item) : "") + context_.console.shown_name(item.name) +
         "\n");
  }

  ExitCode end() {
    if (context_.arguments.json) context_.console.print(json_text(json_));
    return result_;
  }

 private:
  void below(const Listing& listing, const std::string& shown) {
    for (Entry item : listing.entries) {
      if (!item.directory) continue;
      const std::string name = join_path(shown, item.name);
      try {
        Listing inner;
        if (list_directory(session_, item, inner)) directory(inner, item.id, name, true);
      } catch (const Failure& failure) {
        if (failure.code() == ExitCode::cancelled) throw;
        context_.console.complain(failure.what());
        if (result_ == ExitCode::ok) result_ = failure.code();
      }
    }
  }

  void text(const std::string& line) {
    if (context_.arguments.json) return;
    context_.console.print(line);
    printed_ = true;
  }

  void note_hostile(const std::string& shown, const Listing& listing) {
    if (listing.hostile > 0) {
      context_.console.notice(
          fmt::format("{}: {} unusable names from the server left out", shown, listing.hostile));
    }
  }

  Context& context_;
  Session& session_;
  WalkPath path_{list_of(session_)};
  Json::Value json_{Json::arrayValue};
  bool printed_ = false;
  ExitCode result_ = ExitCode::ok;
};

}  // namespace

ExitCode run_inspect(Context& context) {
  const Module& module = context.module;
  const Json::Value login = parse_json(login_document(module), "the login fields");
  const Json::Value options = parse_json(option_document(module), "the option fields");
  if (context.arguments.json) {
    Json::Value out;
    out["version"] = module.GetProtocolVersion();
    out["protocols"] = protocol_list(module);
    out["supports"] = module.GetSupports();
    out["auth_type"] = module.GetAuthType();
    out["auth_fields"] = login;
    out["opt_fields"] = options;
    context.console.print(json_text(out));
    return ExitCode::ok;
  }
  context.console.print(fmt::format("version    {}\nprotocols  {}\nsupports   {}\nauth type  {}\n{}{}",
                                    module.GetProtocolVersion(), protocol_list(module), module.GetSupports(),
                                    module.GetAuthType(), fields_table(login), fields_table(options)));
  return ExitCode::ok;
}

ExitCode run_ls(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  const auto session = open_session(context, url);
  Lister lister{context, *session};
  Entry top;
  top.id = url.path;
  top.name = leaf_name(url.path);
  top.directory = true;
  Listing listing;
  if (session->list(url.path, listing).code != SUCCESS) {
    top = must_look_up(*session, url.path);
    if (top.directory) (void)list_directory(*session, top, listing);
  }
  if (top.directory) {
    lister.directory(listing, top.id, url.path, context.arguments.recursive);
  } else {
    lister.entry(top);
  }
  return lister.end();
}

ExitCode run_stat(Context& context) {
  RemoteUrl url = parse_remote_url(context.arguments.operands.at(0));
  const auto session = open_session(context, url);
  Entry entry = must_look_up(*session, url.path);
  if (!entry.directory) {
    entry = exact_file(*session, entry);
  } else if (!is_root(url.path)) {
    Listing listing;
    (void)list_directory(*session, entry, listing);  // a link to a file is listed as a directory
  }
  if (context.arguments.json) {
    context.console.print(json_text(entry_json(entry)));
  } else {
    context.console.print(long_prefix(entry) +
                          context.console.shown_name(entry.name.empty() ? "/" : entry.name) + "\n");
  }
  return ExitCode::ok;
}

}  // namespace ftp_host
