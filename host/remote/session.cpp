#include "host/remote/session.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <thread>
#include <unordered_set>

#include "host/names.h"
#include "host/time_text.h"

namespace ftp_host {
namespace {

constexpr std::chrono::seconds kGoodbye{3};

/// The directory as a listing is asked for. On FTP the plug-in makes "/" of the login directory's own path,
/// which MLSD takes for the server's root; with the dot it stays relative like every path below it.
std::string listed_path(const std::string& id) { return id == "/" ? "/." : id; }

/// A directory for the operations that append a slash and a name to it. For the login directory it is empty:
/// with another slash in front, the path would begin at the server's root.
std::string parent_argument(const std::string& id) { return is_root(id) ? id.substr(1) : id; }

void fill_entry(Entry& entry, const _FS_FILE_V2& record) {
  entry.directory = (record.attr & FS_ATTR_DIRECTORY) != 0;
  entry.size = entry.directory ? 0 : record.size;
  entry.time = parse_record_time(record.modify_time);
}

/// The entry's own name in the server's bytes: what its id has behind that of the directory. A slash in the
/// name is part of it, so that such a name can be refused.
std::string raw_name(const std::string& directory, const _FS_FILE_V2& record) {
  const std::string prefix = listed_path(directory) + "/";
  return record.id.starts_with(prefix) ? record.id.substr(prefix.size()) : record.name;
}

ExitCode login_exit_code(const Outcome& outcome) {
  if (outcome.code == ACCESS_DENIED) return ExitCode::login_refused;
  // The plug-in has no code for an unknown host and for a silent port. But then no server ever spoke.
  if (outcome.code == PATH_NOT_FOUND || !outcome.log.server_spoke) return ExitCode::not_reached;
  return ExitCode::other;
}

}  // namespace

Listing make_listing(const std::string& id, const std::vector<_FS_FILE_V2>& records) {
  Listing listing;
  std::unordered_set<std::string> seen;
  for (const _FS_FILE_V2& record : records) {
    const std::string raw = raw_name(id, record);
    if (raw == "." || raw == ".." || raw.empty()) continue;  // every server may send these
    if (!is_usable_name(raw) || !is_usable_name(record.name)) {
      ++listing.hostile;
      continue;
    }
    if (!seen.insert(record.name).second) continue;
    Entry entry;
    entry.name = record.name;
    entry.id = join_path(id, raw);
    fill_entry(entry, record);
    listing.entries.push_back(std::move(entry));
  }
  std::sort(listing.entries.begin(), listing.entries.end(),
            [](const Entry& a, const Entry& b) { return a.name < b.name; });
  return listing;
}

Session::Session(const Module& module, Operations& operations, const RemoteUrl& url,
                 const ConnectOptions& options)
    : module_{module}, operations_{operations}, url_{url} {
  static Manager manager;
  void* object = nullptr;
  const bool made = module_.GetProtocol(url_.scheme.c_str(), &manager, &object);
  protocol_.reset(static_cast<IProtocol_V2*>(object));
  if (!made || !protocol_) throw Failure{ExitCode::other, "the plug-in cannot create its object"};
  connect(options);
}

Session::~Session() {
  // Releasing says goodbye to the server. The user does not wait for one that is gone.
  auto released = std::make_shared<std::promise<void>>();
  std::future<void> done = released->get_future();
  std::thread worker{[object = std::move(protocol_), released]() mutable {
    object.reset();
    released->set_value();
  }};
  if (done.wait_for(kGoodbye) == std::future_status::ready) {
    worker.join();
  } else {
    operations_.messages().detail("the server does not answer the goodbye");
    operations_.messages().abandon();
    worker.detach();
  }
}

void Session::connect(const ConnectOptions& options) {
  const std::string fields = fill_document(login_document(module_), login_values(url_, options));
  (void)protocol_->SetOpt("option_fields",
                          fill_document(option_document(module_), option_values(options)).c_str());
  (void)protocol_->SetOpt("speedlimit", std::to_string(options.limit_rate).c_str());
  operations_.messages().detail(
      fmt::format("logging in to {} as {}", url_.root(), options.user.empty() ? "anonymous" : options.user));
  LifeSign life;
  const Outcome outcome = operations_.run("login at " + url_.root(), life,
                                          [&] { return protocol_->Connect(nullptr, fields.c_str()); });
  if (outcome.code == SUCCESS) return;
  const ExitCode code = login_exit_code(outcome);
  const char* const what = code == ExitCode::login_refused ? "the server refused the login"
                           : code == ExitCode::not_reached ? "the server was not reached"
                                                           : "the login failed";
  throw failure(fmt::format("{}: {}", url_.root(), what), outcome, code);
}

void Session::require(const Outcome& outcome, const std::string& id) const {
  if (outcome.code != SUCCESS) throw failure(url_of(id), outcome);
}

Failure Session::failure(const std::string& what, AERROR error, ExitCode code) const {
  return failure(what, Outcome{error, {}}, code);
}

Failure Session::not_found(const std::string& id, AERROR error) const {
  return failure(url_of(id) + ": not found", error, ExitCode::not_found);
}

Failure Session::failure(const std::string& what, const Outcome& outcome, ExitCode code) const {
  const std::string why = outcome.log.explanation();
  return Failure{
      code, fmt::format("{}: {}{}{}", what, code_text(module_, outcome.code), why.empty() ? "" : ": ", why)};
}

Outcome Session::list(const std::string& id, Listing& listing) {
  LifeSign life;
  std::vector<_FS_FILE_V2> records;
  const std::string path = listed_path(id);
  EntryCollector collector{records, life};
  Outcome outcome = operations_.run("listing of " + url_of(id), life, [&] {
    return protocol_->GetFileList(path.c_str(), &collector, nullptr);
  });
  if (outcome.code == SUCCESS && outcome.log.listing_failed) outcome.code = FAILED;
  if (outcome.code == SUCCESS) listing = make_listing(id, records);
  return outcome;
}

Outcome Session::file_info(const std::string& id, Entry& entry) {
  LifeSign life;
  _FS_FILE_V2 record;
  record.attr = FS_ATTR_FILE;
  Outcome outcome = operations_.run("look-up of " + url_of(id), life,
                                    [&] { return protocol_->GetFileInfo(id.c_str(), &record, nullptr); });
  if (outcome.code == SUCCESS) {
    entry = Entry{};
    entry.name = leaf_name(id);
    entry.id = id;
    fill_entry(entry, record);
  }
  return outcome;
}

Outcome Session::read(const std::string& id, std::int64_t offset, std::int64_t length, BlockWriter writer,
                      std::int64_t& received) {
  LifeSign life;
  const std::shared_ptr<_FS_HANDLE> handle = operations_.cancellation().new_handle();
  FetchSink sink{std::move(writer), handle, life};
  received = 0;
  struct Keep {  // also when Ctrl-C ends the operation with an exception
    FetchSink& sink;
    std::int64_t& received;
    ~Keep() { received = sink.received(); }
  } keep{sink, received};
  return operations_.run("download of " + url_of(id), life,
                         [&] { return protocol_->Read(id.c_str(), offset, length, handle, &sink, nullptr); });
}

Outcome Session::upload(const std::string& directory, const std::string& name, std::int64_t size,
                        BlockReader reader, Entry& stored) {
  LifeSign life;
  const std::shared_ptr<_FS_HANDLE> handle = operations_.cancellation().new_handle();
  UploadSource source{std::move(reader), life};
  _FS_FILE_V2 record;
  record.name = name;
  record.size = size;
  record.attr = FS_ATTR_FILE;
  const std::string parent = parent_argument(directory);
  Outcome outcome = operations_.run("upload of " + url_of(join_path(directory, name)), life, [&] {
    return protocol_->Upload(parent.c_str(), handle, &source, &record, UPLOAD_FLAG_NONE, nullptr);
  });
  if (outcome.code == SUCCESS) {
    stored.name = name;
    stored.id = join_path(directory, leaf_name(record.id));  // the name in the server's bytes
    fill_entry(stored, record);
  }
  return outcome;
}

Outcome Session::make_directory(const std::string& directory, const std::string& name, Entry& made) {
  LifeSign life;
  _FS_FILE_V2 record;
  record.name = name;
  const std::string parent = parent_argument(directory);
  Outcome outcome = operations_.run("making " + url_of(join_path(directory, name)), life, [&] {
    return protocol_->CreateDirectory(parent.c_str(), &record, nullptr);
  });
  if (outcome.code == SUCCESS) {
    made.name = name;
    made.id = join_path(directory, leaf_name(record.id));
    made.directory = true;
  }
  return outcome;
}

Outcome Session::remove_file(const std::string& id) {
  LifeSign life;
  return operations_.run("removal of " + url_of(id), life,
                         [&] { return protocol_->Delete(id.c_str(), nullptr); });
}

Outcome Session::remove_directory(const std::string& id) {
  LifeSign life;
  return operations_.run("removal of " + url_of(id), life,
                         [&] { return protocol_->DeleteDirectory(id.c_str(), nullptr); });
}

Outcome Session::move(const std::string& id, const std::string& directory, const std::string& name,
                      bool is_directory) {
  LifeSign life;
  _FS_FILE_V2 record;
  record.name = name;
  record.attr = is_directory ? FS_ATTR_DIRECTORY : FS_ATTR_FILE;
  const std::string parent = parent_argument(directory);
  return operations_.run("move of " + url_of(id), life, [&] {
    if (is_directory) return protocol_->MoveDir(id.c_str(), parent.c_str(), &record, nullptr);
    if (parent_path(id) == directory) return protocol_->Rename(id.c_str(), parent.c_str(), &record, nullptr);
    return protocol_->Move(id.c_str(), parent.c_str(), &record, nullptr);
  });
}

Outcome Session::set_time(const std::string& id, std::time_t time) {
  LifeSign life;
  _FS_FILE_V2 record;
  const std::string text = record_time(time);
  return operations_.run("time of " + url_of(id), life, [&] {
    return protocol_->SetFileTime(id.c_str(), text, text, text, &record, nullptr);
  });
}

bool Session::sets_times() const {
  constexpr int kCannotSetTimes = 0x100;
  return (protocol_->GetFeature() & kCannotSetTimes) == 0;
}

}  // namespace ftp_host
