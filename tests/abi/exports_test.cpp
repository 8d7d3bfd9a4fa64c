// The dynamic symbol table of the built library, read from the file itself.
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/fakes/plugin.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

/// A 64-bit ELF file in memory.
class ElfFile {
 public:
  explicit ElfFile(const std::string& name) {
    std::ifstream file{name, std::ios::binary | std::ios::ate};
    bytes_.resize(static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0)));
    file.seekg(0).read(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
    header_ = at<Elf64_Ehdr>(0);
    if (std::memcmp(header_.e_ident, ELFMAG, SELFMAG) != 0 || header_.e_ident[EI_CLASS] != ELFCLASS64) {
      throw std::runtime_error{name + " is no 64-bit ELF file"};
    }
  }

  [[nodiscard]] const Elf64_Ehdr& header() const { return header_; }

  [[nodiscard]] std::vector<Elf64_Phdr> segments() const {
    std::vector<Elf64_Phdr> segments;
    for (std::size_t n = 0; n < header_.e_phnum; ++n) {
      segments.push_back(at<Elf64_Phdr>(header_.e_phoff + n * header_.e_phentsize));
    }
    return segments;
  }

  [[nodiscard]] std::vector<Elf64_Shdr> sections() const {
    std::vector<Elf64_Shdr> sections;
    for (std::size_t n = 0; n < header_.e_shnum; ++n) {
      sections.push_back(at<Elf64_Shdr>(header_.e_shoff + n * header_.e_shentsize));
    }
    return sections;
  }

  /// The entries of every section of one type.
  template <class Entry>
  [[nodiscard]] std::vector<Entry> table(Elf64_Word type) const {
    std::vector<Entry> entries;
    for (const Elf64_Shdr& section : sections()) {
      if (section.sh_type != type) continue;
      for (Elf64_Xword n = 0; n < section.sh_size / sizeof(Entry); ++n) {
        entries.push_back(at<Entry>(section.sh_offset + n * sizeof(Entry)));
      }
    }
    return entries;
  }

  /// Names that a program which loads the file can find in it.
  [[nodiscard]] std::vector<std::string> defined_names() const {
    return names(SHT_DYNSYM, [](const Elf64_Sym& symbol) {
      return symbol.st_shndx != SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL;
    });
  }

  /// Every name that the file has or asks for: what it needs of other libraries, and what is inside it. A
  /// stripped file still tells the former.
  [[nodiscard]] std::vector<std::string> all_names() const {
    const auto any = [](const Elf64_Sym&) { return true; };
    std::vector<std::string> all = names(SHT_DYNSYM, any);
    const std::vector<std::string> inside = names(SHT_SYMTAB, any);
    all.insert(all.end(), inside.begin(), inside.end());
    return all;
  }

  /// The value of one entry of the dynamic section; 0 when it is missing.
  [[nodiscard]] Elf64_Xword dynamic(Elf64_Sxword tag) const {
    for (const Elf64_Dyn& entry : table<Elf64_Dyn>(SHT_DYNAMIC)) {
      if (entry.d_tag == tag) return entry.d_un.d_val;
    }
    return 0;
  }

 private:
  template <class Wanted>
  [[nodiscard]] std::vector<std::string> names(Elf64_Word type, Wanted wanted) const {
    Elf64_Off texts = 0;
    for (const Elf64_Shdr& section : sections()) {
      if (section.sh_type == type) texts = sections().at(section.sh_link).sh_offset;
    }
    std::vector<std::string> names;
    for (const Elf64_Sym& symbol : table<Elf64_Sym>(type)) {
      if (wanted(symbol)) names.emplace_back(bytes_.data() + texts + symbol.st_name);
    }
    return names;
  }

  template <class Record>
  [[nodiscard]] Record at(std::size_t offset) const {
    if (offset + sizeof(Record) > bytes_.size()) throw std::runtime_error{"the file ends within a record"};
    Record record;
    std::memcpy(&record, bytes_.data() + offset, sizeof record);
    return record;
  }

  std::vector<char> bytes_;
  Elf64_Ehdr header_{};
};

TEST(Exports, AreTheFourteenNamesAndNotOneMore) {
  EXPECT_THAT(
      ElfFile{fakes::plugin_file()}.defined_names(),
      UnorderedElementsAre("GetSupports", "GetSupportProtocol", "GetProtocol", "FreeP", "GetProtocolVersion",
                           "GetAuthType", "GetAuthFields", "GetOptFields", "BindLogger", "UnbindLogger",
                           "BindAsyncQ", "UnbindAsyncQ", "GetAERRORA", "ConvertAERROR"));
}

TEST(Exports, AreFunctions) {
  std::vector<std::string> others;
  for (const Elf64_Sym& symbol : ElfFile{fakes::plugin_file()}.table<Elf64_Sym>(SHT_DYNSYM)) {
    if (symbol.st_shndx != SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) == STB_GLOBAL) {
      if (ELF64_ST_TYPE(symbol.st_info) != STT_FUNC) others.push_back(std::to_string(symbol.st_name));
    }
  }
  EXPECT_THAT(others, IsEmpty());
}

TEST(Exports, AreResolvedAtLoadTimeAndThenReadOnly) {
  const ElfFile file{fakes::plugin_file()};
  EXPECT_TRUE((file.dynamic(DT_FLAGS) & DF_BIND_NOW) != 0 || (file.dynamic(DT_FLAGS_1) & DF_1_NOW) != 0);
  bool read_only_after_relocation = false;
  bool executable_stack = false;
  for (const Elf64_Phdr& segment : file.segments()) {
    if (segment.p_type == PT_GNU_RELRO) read_only_after_relocation = true;
    if (segment.p_type == PT_GNU_STACK && (segment.p_flags & PF_X) != 0) executable_stack = true;
  }
  EXPECT_TRUE(read_only_after_relocation);
  EXPECT_FALSE(executable_stack);
  EXPECT_EQ(file.dynamic(DT_TEXTREL), 0u);
}

// A regular-expression engine is 33 KB of code, and no operation needs one.
TEST(Library, HoldsNoRegularExpressions) {
  const std::vector<std::string> names = ElfFile{fakes::plugin_file()}.all_names();
  ASSERT_THAT(names, Contains(HasSubstr("basic_string"))) << "not the names of a C++ library";
  EXPECT_THAT(names, Not(Contains(HasSubstr("regex"))));
}

TEST(Exports, ComeInASharedLibrary) { EXPECT_EQ(ElfFile{fakes::plugin_file()}.header().e_type, ET_DYN); }

}  // namespace
