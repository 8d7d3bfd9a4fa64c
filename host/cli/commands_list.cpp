// inspect, ls and stat.
#include <fmt/format.h>

#include "host/cli/commands.h"
#include "host/cli/show.h"
#include "host/remote/look_up.h"
#include "host/remote/remote_tree.h"
#include "host/tree/walk.h"

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

/// Prints listings, as text or as one JSON array.
class Lister final : public Visitor {
 public:
  /// `base`: how the top is called in headings and notices.
  Lister(Context& context, std::string base) : context_{context}, base_{std::move(base)} {}

  bool wants(const std::string&, const Entry& entry) override { return entry.directory; }
  void file(const std::string&, const Entry&) override {}
  bool enter(const std::string& path, const Entry&, const Listing& listing) override {
    const std::string name = shown(path);
    if (listing.hostile > 0) {
      context_.console.notice(
          fmt::format("{}: {} unusable names from the server left out", name, listing.hostile));
    }
    if (context_.arguments.recursive) {
      text(fmt::format("{}{}:\n", printed_ ? "\n" : "", context_.console.shown_name(name)));
    }
    for (const Entry& item : listing.entries) entry(item);
    return context_.arguments.recursive;
  }
  void leave(const std::string&, const Entry&) override {}
  void leads_back(const std::string& path, const Entry&) override {
    context_.console.notice(shown(path) + ": a link to a directory above it, or too deep: left out");
  }
  void failed(const Failure& failure) override {
    context_.console.complain(failure.what());
    if (result_ == ExitCode::ok) result_ = failure.code();
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
  [[nodiscard]] std::string shown(const std::string& path) const {
    return path.empty() ? base_ : join_path(base_, path);
  }

  void text(const std::string& line) {
    if (context_.arguments.json) return;
    context_.console.print(line);
    printed_ = true;
  }

  Context& context_;
  std::string base_;
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
  Lister lister{context, url.path};
  Entry top;
  top.id = url.path;
  top.name = leaf_name(url.path);
  top.directory = true;
  RemoteTree tree{*session, url.path};
  std::optional<Listing> listing;
  // Mostly it is a directory, and then nothing else has to be asked.
  if (failure_of([&] { listing = tree.list(url.path); })) {
    top = must_look_up(*session, url.path);
    if (top.directory) listing = list_or_resolve(tree, top);
  }
  if (listing) {
    walk(tree, Links::followed, top, std::move(listing), lister);
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
    RemoteTree tree{*session, entry.id};
    (void)list_or_resolve(tree, entry);  // a link to a file is listed as a directory
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
