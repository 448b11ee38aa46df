// Stands in for the fuzzer where it is not built in: runs a target once on every file of the
// folders given. The first has to have one; the others may be missing.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesOf(const fs::path& folder) {
  std::vector<fs::path> files;
  if (!fs::is_directory(folder)) return files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void Replay(const fs::path& path) {
  // Told first: of a crash, this line is what is left.
  std::fprintf(stderr, "replay: %s\n", path.c_str());
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  // A copy of its own exact length: a sanitizer sees what is read past its end.
  const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || FilesOf(argv[1]).empty()) {
    std::fprintf(stderr, "replay: no input in '%s'; expected a folder with at least one file\n",
                 argc < 2 ? "" : argv[1]);
    return 1;
  }
  for (int i = 1; i < argc; ++i) {
    for (const fs::path& path : FilesOf(argv[i])) Replay(path);
  }
  return 0;
}
