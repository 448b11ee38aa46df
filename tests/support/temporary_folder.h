// A folder for one test's files.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace dirty_seg::test {

/// Made empty, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = (std::filesystem::temp_directory_path() / "dirty_seg_test_XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

  /// Path of a file or folder in it.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  /// Makes the folder `name` and returns its path.
  std::string MakeFolder(const std::string& name) const {
    std::filesystem::create_directories(*this / name);
    return *this / name;
  }

  /// Writes `text` into the file `name` and returns its path.
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(*this / name, std::ios::binary) << text;
    return *this / name;
  }

 private:
  std::string path_;
};

inline std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace dirty_seg::test
