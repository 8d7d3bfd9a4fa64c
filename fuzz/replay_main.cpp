// Runs every file of the given folders through a fuzz target, so that whatever a fuzzer has ever found stays
// a test, with any compiler.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  for (int n = 1; n < argc; ++n) {
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator{argv[n], error}) {
      if (entry.is_regular_file()) {
        files.push_back(entry.path());
      }
    }
    if (error) {
      std::fprintf(stderr, "%s: %s\n", argv[n], error.message().c_str());
      return 1;
    }
  }
  std::sort(files.begin(), files.end());
  for (const std::filesystem::path& path : files) {
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // the last line names the culprit when the target aborts
    std::ifstream file{path, std::ios::binary};
    const std::vector<char> bytes{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
    // A copy of the exact size, so that the sanitizers see a read behind its end.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;  // an empty corpus tests nothing
}
