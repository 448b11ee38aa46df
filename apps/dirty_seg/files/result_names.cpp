#include "files/result_names.h"

#include <fmt/format.h>

#include <regex>

#include "files/name_text.h"

namespace dirty_seg {
namespace {

// Whether `name` is `video` followed by a frame's number.
bool IsFrameOf(const std::string& video, const std::string& name) {
  const std::size_t begin = video.size() + kFrameMark.size();
  return name.size() > begin && name.compare(0, video.size(), video) == 0 &&
         name.compare(video.size(), kFrameMark.size(), kFrameMark) == 0 &&
         name.find_first_not_of("0123456789", begin) == std::string::npos;
}

// A picture may have the name of a frame of a video, and would overwrite its files.
bool IsFree(const std::string& name, const std::set<std::string>& taken) {
  if (taken.count(name) != 0) return false;
  const std::size_t mark = name.rfind(kFrameMark);
  if (mark != std::string::npos) {
    const std::string video = name.substr(0, mark);
    if (IsFrameOf(video, name) && taken.count(video) != 0) return false;
  }
  const std::string frames = name + std::string(kFrameMark);
  for (auto other = taken.lower_bound(frames);
       other != taken.end() && other->compare(0, frames.size(), frames) == 0; ++other) {
    if (IsFrameOf(name, *other)) return false;
  }
  return true;
}

}  // namespace

bool IsNameOfAResult(const std::string& file_name) {
  static const std::regex kName(
      R"(.+\.(overlay\.(jpg|(part\.)?(avi|mp4))|mask_\d+\.png|crop_\d+\..+\.png))");
  return std::regex_match(file_name, kName);
}

std::string UniqueNames::Take(const std::string& path) {
  const std::string stem = PlainStem(path);
  std::string name = stem;
  for (int number = 2; !IsFree(name, taken_); ++number) {
    name = fmt::format("{}-{}", stem, number);
  }
  taken_.insert(name);
  return name;
}

}  // namespace dirty_seg
