#include "common/iconv_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "common/charset.h"

namespace ftp_plugin {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

/// A folder of conversion modules that exists for one test.
class modules_folder {
 public:
  modules_folder() {
    std::string name = (std::filesystem::temp_directory_path() / "modulesXXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error{"no temporary folder"};
    }
    path_ = name;
  }
  ~modules_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  modules_folder(const modules_folder&) = delete;
  modules_folder& operator=(const modules_folder&) = delete;

  modules_folder& write(const std::string& file, const std::string& text) {
    std::filesystem::create_directories((path_ / file).parent_path());
    std::ofstream{path_ / file} << text;
    return *this;
  }
  [[nodiscard]] std::string path() const { return path_.string(); }

  /// What is read besides the built-in encodings.
  [[nodiscard]] std::vector<encoding_names> own_encodings() const {
    std::vector<encoding_names> all = read_encodings(path());
    const auto builtin = static_cast<std::ptrdiff_t>(read_encodings("").size());
    return {all.begin() + builtin, all.end()};
  }

 private:
  std::filesystem::path path_;
};

struct listing {
  std::vector<encoding_names> encodings;
  std::size_t limit = 1'000'000;
};

int collect(unsigned int count, const char* const* names, void* data) {
  auto& result = *static_cast<listing*>(data);
  result.encodings.emplace_back(names, names + count);
  return result.encodings.size() == result.limit ? 1 : 0;
}

std::vector<encoding_names> list_encodings() {
  listing result;
  iconvlist(collect, &result);
  return result.encodings;
}

encoding_names all_names(const std::vector<encoding_names>& encodings) {
  encoding_names names;
  for (const encoding_names& group : encodings) {
    names.insert(names.end(), group.begin(), group.end());
  }
  return names;
}

TEST(ReadEncodings, ListsTheBuiltInOnesWithoutAnyFile) {
  for (const std::string& folder : {std::string{}, std::string{"/no/such/folder"}}) {
    const encoding_names names = all_names(read_encodings(folder));
    EXPECT_THAT(names, IsSupersetOf({"UTF-8", "ASCII", "ANSI_X3.4-1968", "UCS-4", "UCS-2", "WCHAR_T"}))
        << folder;
  }
}

TEST(ReadEncodings, EveryBuiltInNameCanBeOpened) {
  for (const std::string& name : all_names(read_encodings(""))) {
    EXPECT_TRUE(converter("UTF-8", name.c_str())) << name;
    EXPECT_TRUE(converter(name.c_str(), "UTF-8")) << name;
  }
}

TEST(ReadEncodings, GroupsAliasesBehindTheirEncoding) {
  modules_folder folder;
  folder.write("gconv-modules",
               "# from\tto\tmodule\tcost\n"
               "alias\tL1//\tISO-8859-1//\n"
               "alias\tLATIN1//\tISO-8859-1//\n"
               "module\tISO-8859-1//\tINTERNAL\tISO8859-1\t1\n"
               "module\tINTERNAL\tISO-8859-1//\tISO8859-1\t1\n"
               "\n"
               "alias UTF16// UTF-16//\n"
               "module UTF-16// INTERNAL UTF-16 1\n");
  EXPECT_THAT(folder.own_encodings(),
              ElementsAre(ElementsAre("ISO-8859-1", "L1", "LATIN1"), ElementsAre("UTF-16", "UTF16")));
}

TEST(ReadEncodings, ReadsTheFilesOfTheSubfolderInTheOrderOfTheirNames) {
  modules_folder folder;
  folder.write("gconv-modules", "module A// INTERNAL A 1\n")
      .write("gconv-modules.d/z.conf", "module Z// INTERNAL Z 1\n")
      .write("gconv-modules.d/b.conf", "module B// INTERNAL B 1\nalias AA// A//\n")
      .write("gconv-modules.d/notes.txt", "module N// INTERNAL N 1\n");
  EXPECT_THAT(folder.own_encodings(),
              ElementsAre(ElementsAre("A", "AA"), ElementsAre("B"), ElementsAre("Z")));
}

TEST(ReadEncodings, FollowsAliasesOfAliasesInAnyOrder) {
  modules_folder folder;
  folder.write("gconv-modules", "alias C// B//\nalias B// A//\nmodule INTERNAL A// A 1\nalias B// D//\n");
  EXPECT_THAT(folder.own_encodings(), ElementsAre(ElementsAre("A", "B", "C")));
}

TEST(ReadEncodings, ListsNamesInCapitalsAndOnce) {
  modules_folder folder;
  folder.write("gconv-modules",
               "module Shift_X// INTERNAL X 1\nalias csX// SHIFT_X//\nalias CSX// SHIFT_X//\n");
  EXPECT_THAT(folder.own_encodings(), ElementsAre(ElementsAre("SHIFT_X", "CSX")));
}

TEST(ReadEncodings, LeavesOutAliasesThatLeadNowhere) {
  modules_folder folder;
  folder.write("gconv-modules", "alias X// Y//\nalias Y// X//\nalias Z// Z//\nmodule A// INTERNAL A 1\n");
  EXPECT_THAT(folder.own_encodings(), ElementsAre(ElementsAre("A")));
}

TEST(ReadEncodings, IgnoresLinesOfOtherForms) {
  modules_folder folder;
  folder.write(
      "gconv-modules",
      std::string("module\nalias A//\n#module B// INTERNAL B 1\nmodule C// INTERNAL C 1 # alias D// C//\n"
                  "\0\xFF\x01\nsomething else here\nmodule // // E 1\nalias // C//\n",
                  128));
  EXPECT_THAT(folder.own_encodings(), ElementsAre(ElementsAre("C")));
}

TEST(ReadEncodings, SurvivesFoldersInThePlaceOfFiles) {
  modules_folder folder;
  folder.write("gconv-modules/x", "")
      .write("gconv-modules.d/a.conf/x", "")
      .write("gconv-modules.d/b.conf", "module B// INTERNAL B 1\n");
  EXPECT_THAT(folder.own_encodings(), ElementsAre(ElementsAre("B")));
}

TEST(FindModulesFolder, FindsTheFilesBesideTheLibraryOfThisProcess) {
  const std::string folder = find_modules_folder();
  if (folder.empty()) {
    GTEST_SKIP() << "this machine has no conversion modules";
  }
  EXPECT_TRUE(std::filesystem::exists(folder + "/gconv-modules")) << folder;
}

TEST(IconvList, ListsEveryNameThatIconvCanOpen) {
  if (find_modules_folder().empty()) {
    GTEST_SKIP() << "this machine has no conversion modules";
  }
  const encoding_names names = all_names(list_encodings());
  EXPECT_GT(names.size(), 1000U);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size()) << "no name comes twice";
  for (const std::string& name : names) {
    EXPECT_TRUE(converter("UTF-8", name.c_str())) << name;
  }
  EXPECT_THAT(names,
              IsSupersetOf({"UTF-8", "ISO-8859-1", "LATIN1", "CP1252", "WINDOWS-1252", "KOI8-R", "SJIS"}));
}

TEST(IconvList, ReplaysTheSameListForEveryCall) {
  const std::vector<encoding_names> first = list_encodings();
  EXPECT_THAT(all_names(first), Contains("UTF-8"));
  EXPECT_EQ(list_encodings(), first);
}

TEST(IconvList, StopsWhenTheCallbackSaysSo) {
  listing result;
  result.limit = 3;
  iconvlist(collect, &result);
  EXPECT_EQ(result.encodings.size(), 3U);
}

TEST(IconvList, LetsTheCallbacksExceptionPass) {
  const auto fail = [](unsigned int, const char* const*, void*) -> int {
    throw std::runtime_error{"enough"};
  };
  EXPECT_THROW(iconvlist(fail, nullptr), std::runtime_error);
  EXPECT_FALSE(list_encodings().empty());
}

TEST(IconvList, ServesManyThreadsAtOnce) {
  std::vector<std::vector<encoding_names>> lists(8);
  std::vector<std::thread> threads;
  for (auto& list : lists) {
    threads.emplace_back([&list] { list = list_encodings(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const auto& list : lists) {
    EXPECT_EQ(list, lists.front());
  }
}

}  // namespace
}  // namespace ftp_plugin
