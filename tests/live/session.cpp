#include "tests/live/session.h"

#include <gtest/gtest.h>

#include <ctime>

namespace live {

Session::Session(const servers::Daemon& server, const fakes::FormEntries& login,
                 const fakes::FormEntries& options)
    : Session{server.url(), server.user(), server.password(), login, options} {}

Session::Session(const std::string& url, const std::string& user, const std::string& password,
                 const fakes::FormEntries& login, const fakes::FormEntries& options) {
  if (!options.empty()) {
    (void)protocol_->SetOpt("option_fields", fakes::option_document(options).c_str());
  }
  result_ = protocol_->Connect(nullptr, fakes::login_document(url, user, password, login).c_str());
}

std::string Session::transcript() const {
  std::string text;
  for (const std::string& line : log_.lines()) text += line + "\n";
  return text;
}

std::map<std::string, _FS_FILE_V2> Session::list(const std::string& folder) const {
  fakes::FileList files;
  const AERROR code = protocol_->GetFileList(folder.c_str(), &files, nullptr);
  EXPECT_EQ(code, SUCCESS) << "listing " << folder << "\n" << transcript();
  std::map<std::string, _FS_FILE_V2> result;
  for (const _FS_FILE_V2& file : files.files()) {
    if (file.name == "." || file.name == "..") continue;
    EXPECT_TRUE(result.emplace(file.name, file).second) << file.name << " is listed twice";
  }
  return result;
}

_FS_FILE_V2 Session::info(const std::string& path, std::uint32_t attribute) const {
  _FS_FILE_V2 file;
  file.attr = attribute;
  EXPECT_EQ(protocol_->GetFileInfo(path.c_str(), &file, nullptr), SUCCESS) << path << "\n" << transcript();
  return file;
}

std::string Session::read(const std::string& path, long long offset, long long length) const {
  fakes::FetchSink sink;
  EXPECT_EQ(protocol_->Read(path.c_str(), offset, length, fakes::make_handle(), &sink, nullptr), SUCCESS)
      << path << "\n"
      << transcript();
  long long next = offset;
  for (const auto& chunk : sink.chunks()) {
    EXPECT_EQ(chunk.offset, next);
    next += static_cast<long long>(chunk.bytes.size());
  }
  return sink.bytes();
}

std::string time_text(std::time_t seconds) {
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  (void)strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.000Z", &parts);
  return text;
}

}  // namespace live
