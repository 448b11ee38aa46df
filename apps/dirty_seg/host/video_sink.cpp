// Annotated videos.
#include <opencv2/videoio.hpp>
#include <optional>

#include "host/errors.h"
#include "host/result_sink.h"

namespace dirty_seg {
namespace {

// Of a camera that does not tell its rate.
constexpr double kUsualRate = 30.0;

class VideoSink : public ResultSink {
 public:
  explicit VideoSink(const OutputFolder& folder) : folder_(folder) {}

  void Write(const FoundFrame& found) override {
    if (found.frame.kind == InputKind::kPicture) return;
    if (input_ != found.frame.input) Begin(found);
    if (found.overlay.size() != size_) {
      throw InputError(
          "the annotated video keeps its first frame's size, and this frame has "
          "another");
    }
    writer_.write(found.overlay);
  }

  void Finish() override { writer_.release(); }

 private:
  void Begin(const FoundFrame& found) {
    Finish();
    input_ = found.frame.input;
    size_ = found.overlay.size();
    const double rate = found.frame.rate > 0.0 ? found.frame.rate : kUsualRate;
    const std::string path = folder_.path() + "/" + found.input_name + ".overlay.avi";
    if (!Open(path, rate)) {
      input_.reset();
      throw InputError("'" + path + "' cannot be written");
    }
  }

  // OpenCV's own writer takes the other's place where that one was left out; it rounds the rate.
  bool Open(const std::string& path, double rate) {
    const int codec = cv::VideoWriter::fourcc('M', 'J', 'P', 'G');
    return writer_.open(path, cv::CAP_FFMPEG, codec, rate, size_) ||
           writer_.open(path, cv::CAP_OPENCV_MJPEG, codec, rate, size_);
  }

  const OutputFolder& folder_;
  std::optional<std::size_t> input_;
  cv::Size size_;
  cv::VideoWriter writer_;
};

}  // namespace

std::unique_ptr<ResultSink> MakeVideoSink(const OutputFolder& folder) {
  return std::make_unique<VideoSink>(folder);
}

}  // namespace dirty_seg
