// Annotated videos.
#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/errors.h"
#include "base/text.h"
#include "console/messages.h"
#include "forms/result_sink.h"
#include "frames/video_reader.h"
#include "media/media.h"

namespace dirty_seg {
namespace {

// For a camera that does not report its rate.
constexpr double kDefaultRate = 30.0;

struct Format {
  const char* extension;
  const char* codec;
};

// The first that can be written is.
constexpr std::array<Format, 2> kFormats{{{".mp4", "MPEG-4"}, {".avi", "Motion JPEG"}}};

class VideoSink : public ResultSink {
 public:
  explicit VideoSink(const OutputFolder& folder) : folder_(folder) {}

  void Redraw(const FoundFrame& found) override { Write(found); }

  void Write(const FoundFrame& found) override {
    if (found.frame.kind == InputKind::kPicture) return;
    if (input_ != found.frame.input) Begin(found);
    if (found.overlay.size() != size_) {
      throw InputError(
          "the annotated video keeps its first frame's size, and this frame has another");
    }
    video_->Write(found.overlay);
    ++written_;
  }

  void EndInput() override { Close(); }

  void Finish() override { Close(); }

 private:
  void Begin(const FoundFrame& found) {
    input_ = found.frame.input;
    size_ = found.overlay.size();
    const double rate = found.frame.rate > 0.0 ? found.frame.rate : kDefaultRate;
    for (const Format& format : kFormats) {
      if (Open(found.input_name + ".overlay", format, rate)) return;
    }
    throw OutputError("'" + path_ + "' cannot be written");
  }

  bool Open(const std::string& name, const Format& format, double rate) {
    // The extension chooses the container.
    const std::string part = folder_.Claim(name + ".part" + format.extension);
    path_ = folder_.Claim(name + format.extension);
    codec_ = format.codec;
    file_.emplace(path_, part);
    video_ = LoadMedia().CreateVideo(part, rate, size_);
    if (video_ == nullptr) file_.reset();
    return video_ != nullptr;
  }

  // The writer does not report a full disk.
  void Close() {
    if (video_ == nullptr) return;
    video_.reset();
    const std::int64_t written = std::exchange(written_, 0);
    const bool is_whole = HasFrame(written - 1);
    if (is_whole) file_->Keep();
    file_.reset();
    if (!is_whole) {
      throw OutputError(fmt::format(
          "'{}' cannot be written whole, and is removed; is there room for it?", path_));
    }
    PrintMessage(fmt::format("annotated video '{}': {}, {}", path_,
                             Counted(static_cast<std::size_t>(written), "frame"), codec_));
  }

  // The frame count in a file is only what was meant to be in it.
  bool HasFrame(std::int64_t number) const {
    try {
      const std::unique_ptr<VideoInput> video = OpenVideoInput(file_->part());
      return video->Seek(number) && video->Grab();
    } catch (const InputError&) {
      return false;
    }
  }

  const OutputFolder& folder_;
  std::optional<std::size_t> input_;
  std::string path_;
  const char* codec_ = "";
  std::optional<WholeFile> file_;
  std::int64_t written_ = 0;  // frames
  cv::Size size_;
  std::unique_ptr<VideoOutput> video_;
};

}  // namespace

std::unique_ptr<ResultSink> MakeVideoSink(const OutputFolder& folder) {
  return std::make_unique<VideoSink>(folder);
}

}  // namespace dirty_seg
