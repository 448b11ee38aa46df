#include "session.h"

#include <unistd.h>

#include <optional>
#include <utility>

#include "base/errors.h"
#include "base/stopwatch.h"
#include "base/text.h"
#include "things/thing.h"

namespace dirty_seg::python {
namespace {

// Everything that was said before the exception, and what the engine said, which the program prints
// on lines of their own.
template <typename Call>
auto WithAllWords(SetupSpeech& speech, const Call& call) try {
  return call();
} catch (const NetworkError& error) {
  throw SetupError(error.cause().empty() ? error.text() : error.text() + ": " + error.cause());
} catch (const SetupError& error) {
  speech.errors.emplace_back(error.what());
  throw SetupError(Join(speech.errors, "\n"));
}

}  // namespace

std::shared_ptr<const FrameResult> MakeResult(FrameRecord record,
                                              std::shared_ptr<const Labels> labels) {
  auto result = std::make_shared<FrameResult>();
  for (const std::vector<float>& box : record.outcome.result.bboxes) {
    result->boxes.insert(result->boxes.end(), box.begin(), box.end());
  }
  result->record = std::move(record);
  result->labels = std::move(labels);
  return result;
}

Session::Session(const DetectorOptions& options, bool merge) : process_(getpid()), merge_(merge) {
  if (std::string notice = JournalNotice(); !notice.empty()) {
    warnings_.push_back(std::move(notice));
  }
  SetupSpeech speech;
  Listen(speech, [&] {
    WithAllWords(speech, [&] {
      DetectorSetup setup = SetUpDetector(options);
      patches_ = setup.patches;
      labels_ = std::make_shared<const Labels>(std::move(setup.labels));
      detector_ = std::make_unique<FrameDetector>(
          setup.config, recorder_, merge_ ? std::optional(patches_) : std::nullopt, options.config);
    });
  });
  warnings_.insert(warnings_.end(), speech.warnings.begin(), speech.warnings.end());
}

Session::~Session() {
  if (IsForked()) detector_.release();
}

bool Session::IsForked() const { return getpid() != process_; }

std::shared_ptr<const FrameResult> Session::Detect(const std::shared_ptr<cv::Mat>& picture,
                                                   FitMode fit) {
  if (IsForked()) {
    throw UsageError(
        "the detector was made in another process, and a fork does not copy its threads; make one "
        "in this process");
  }
  FrameRecord record;
  const Stopwatch watch;
  record.fit = FitToFrame(picture->size(), fit);
  const std::shared_ptr<cv::Mat> frame = PlaceInFrame(picture, record.fit);
  record.read_ms = watch.Milliseconds();
  const std::string fault = FindReachFault(patches_, record.fit);
  {
    const std::lock_guard<std::mutex> turn(mutex_);
    if (detector_ == nullptr) throw UsageError("the detector is closed");
    record.outcome = fault.empty() ? detector_->Detect(frame) : Failed(fault);
  }
  if (merge_ && record.outcome.result.success) {
    record.things = FindThings(record.outcome, *labels_);
    record.outcome.parts.reset();
  }
  return MakeResult(std::move(record), labels_);
}

void Session::Close() {
  if (IsForked()) {
    detector_.release();
    return;
  }
  const std::lock_guard<std::mutex> turn(mutex_);
  detector_.reset();
}

}  // namespace dirty_seg::python
