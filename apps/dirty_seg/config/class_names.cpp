#include "config/class_names.h"

#include <fmt/format.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "base/utf8.h"
#include "files/open_failure.h"
#include "files/yaml_file.h"

namespace dirty_seg {
namespace {

using Names = std::map<std::int32_t, std::string>;

constexpr const char* kExpected =
    "expected class ids with names, a list of names, 'names:' with one of these, or a text with a "
    "name a line";

bool IsYamlByName(const std::string& path) {
  const std::string extension = std::filesystem::path(path).extension().string();
  constexpr std::array<const char*, 3> kExtensions{".yaml", ".yml", ".json"};
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

class NamesReader {
 public:
  explicit NamesReader(const std::string& path) : path_(path) {}

  Names Read() {
    IsYamlByName(path_) ? ReadYaml(LoadYaml(path_)) : ReadText(Load());
    if (names_.empty()) Reject(0, std::string("has no names; ") + kExpected);
    return std::move(names_);
  }

 private:
  [[noreturn]] void Reject(int line, const std::string& what) const {
    RejectFile(path_, line, what);
  }

  std::string Load() const {
    std::error_code error;
    if (std::filesystem::is_directory(path_, error)) {
      Reject(0, "is a folder; expected a file with names of classes");
    }
    errno = 0;
    std::ifstream file(path_, std::ios::binary);
    if (!file) Reject(0, OpenFailure(errno));
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Names with signs that mean something in YAML make a text that is not YAML.
  static YAML::Node ParseOrNone(const std::string& text) try {
    return YAML::Load(text);
  } catch (const YAML::Exception&) {
    return {};
  }

  void ReadText(const std::string& text) {
    const YAML::Node root = ParseOrNone(text);
    root.IsMap() || root.IsSequence() ? ReadYaml(root) : ReadLines(text);
  }

  void ReadYaml(const YAML::Node& root) {
    const bool has_key = root.IsMap() && root["names"].IsDefined();
    const YAML::Node names = has_key ? root["names"] : root;
    if (names.IsSequence()) {
      for (std::size_t i = 0; i < names.size(); ++i) {
        Add(LineOf(names[i]), static_cast<std::int32_t>(i), names[i]);
      }
    } else if (names.IsMap()) {
      for (const auto& entry : names) Add(LineOf(entry.first), IdOf(entry.first), entry.second);
    } else {
      Reject(LineOf(names), fmt::format("is {}; {}", NodeText(names), kExpected));
    }
  }

  std::int32_t IdOf(const YAML::Node& node) const {
    std::int32_t id = 0;
    if (node.IsScalar() && YAML::convert<std::int32_t>::decode(node, id) && id >= 0 &&
        id <= kMaxClassId) {
      return id;
    }
    Reject(LineOf(node), fmt::format("{} is not a class id; expected whole numbers from 0 to {}",
                                     NodeText(node), kMaxClassId));
  }

  void Add(int line, std::int32_t id, const YAML::Node& name) {
    if (!name.IsScalar()) {
      Reject(line, fmt::format("the name of class {} is {}; expected a text", id, NodeText(name)));
    }
    Add(line, id, name.Scalar());
  }

  void Add(int line, std::int32_t id, const std::string& name) {
    if (name.empty()) {
      Reject(line, fmt::format("the name of class {} is empty; expected a text", id));
    }
    if (!IsUtf8(name))
      Reject(line, fmt::format("the name of class {} is not UTF-8; expected a text in UTF-8", id));
    if (!names_.emplace(id, name).second) {
      Reject(line, fmt::format("class {} has a name already; expected one a class", id));
    }
  }

  void ReadLines(const std::string& text) {
    constexpr std::string_view kMark = "\xef\xbb\xbf";  // of UTF-8, which some editors write
    std::istringstream lines(text.compare(0, kMark.size(), kMark) == 0 ? text.substr(kMark.size())
                                                                       : text);
    std::string line;
    int number = 0;
    int empty = 0;  // lines, up to which the names may end
    while (std::getline(lines, line)) {
      const std::size_t first = line.find_first_not_of(" \t\r");
      const std::size_t last = line.find_last_not_of(" \t\r");
      ++number;
      if (first == std::string::npos) {
        ++empty;
        continue;
      }
      if (empty > 0) Reject(number - empty, "is empty, with names after it; expected a name");
      Add(number, number - 1, line.substr(first, last - first + 1));
    }
  }

  std::string path_;
  Names names_;
};

}  // namespace

Names ReadClassNames(const std::string& path) { return NamesReader(path).Read(); }

}  // namespace dirty_seg
