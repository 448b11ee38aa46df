#include "report/report.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "base/base64.h"
#include "console/interruption.h"
#include "detector/fece_log.h"
#include "files/output_file.h"
#include "report/embedded_files.h"
#include "report/html.h"
#include "report/report_data.h"
#include "report/report_pictures.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 2> kStyles{"uplot.css", "report.css"};
constexpr std::array<const char*, 15> kScripts{
    "uplot.js", "table-core.js", "base.js",     "changes.js", "masks.js",
    "pan.js",   "gestures.js",   "viewer.js",   "filters.js", "over_time.js",
    "cards.js", "times.js",      "verdicts.js", "table.js",   "main.js"};

// The page accepts only scripts and styles with this nonce. The results were written before it was
// drawn, so nothing in them can contain it.
std::string DrawNonce() {
  std::random_device device;
  std::vector<unsigned char> bytes(16);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(device());
  return Base64(bytes);
}

std::string TitleOf(const Results& results, const ReportOptions& options) {
  if (!options.title.empty()) return options.title;
  const fs::path folder = fs::absolute(results.file).parent_path().lexically_normal();
  const fs::path name = folder.has_filename() ? folder.filename() : folder.parent_path().filename();
  return "Results of " + name.string();
}

// Fills the places of page.html, marked {{name}}, one after the other.
class PageWriter {
 public:
  PageWriter(const Results& results, const ReportOptions& options, WholeFile& file,
             Progress* progress)
      : results_(results),
        options_(options),
        file_(file),
        progress_(progress),
        data_(results, ReadRunFacts(results.folder), options.against),
        nonce_(DrawNonce()),
        title_(EscapeHtml(TitleOf(results, options))) {}

  ReportOutcome Write() {
    const std::map<std::string_view, std::function<void()>> places{
        {"nonce", [this] { Add(nonce_); }},
        {"title", [this] { Add(title_); }},
        {"version", [this] { Add(EscapeHtml(options_.version)); }},
        {"styles", [this] { WriteFiles(kStyles, "style"); }},
        {"pictures", [this] { WritePictures(); }},
        {"data", [this] { WriteData(); }},
        {"scripts", [this] { WriteFiles(kScripts, "script"); }},
    };
    std::string_view rest = EmbeddedFile("page.html");
    for (std::size_t begin = 0; (begin = rest.find("{{")) != std::string_view::npos;) {
      const std::size_t end = rest.find("}}", begin);
      const std::string_view name = rest.substr(begin + 2, end - begin - 2);
      Add(rest.substr(0, begin));
      if (const auto place = places.find(name); place != places.end()) {
        place->second();
      } else {
        Add(EscapeHtml(std::string(EmbeddedFile(name))));
      }
      rest.remove_prefix(end + 2);
    }
    Add(rest);
    return outcome_;
  }

 private:
  void Add(std::string_view text) {
    file_.Write(text);
    outcome_.bytes += text.size();
  }

  template <std::size_t count>
  void WriteFiles(const std::array<const char*, count>& names, const char* element) {
    for (const char* name : names) {
      Add(fmt::format("<{0} nonce=\"{1}\">{2}</{0}>\n", element, nonce_, EmbeddedFile(name)));
    }
  }

  void WritePictures() {
    PictureLoader loader(results_.folder);
    const std::vector<std::size_t> chosen = data_.ChooseFrames(options_.max_frames);
    for (std::size_t i = 0; i < chosen.size(); ++i) {
      ThrowIfInterrupted();
      WriteFrame(chosen[i], loader);
      if (progress_ == nullptr) continue;
      progress_->Update(static_cast<std::int64_t>(i + 1), static_cast<std::int64_t>(chosen.size()));
    }
  }

  void WriteFrame(std::size_t index, PictureLoader& loader) {
    const StoredFrame& frame = results_.frames[index];
    const FramePicture picture = loader.Load(frame);
    data_.SetPicture(index, picture);
    if (picture.origin == PictureOrigin::kNone) return;
    ++outcome_.pictures;
    WritePicture(fmt::format("thumb-{}", index), EncodeThumbnail(picture.pixels));
    WritePicture(fmt::format("picture-{}", index),
                 EncodePicture(picture.pixels, options_.max_width));
    for (const StoredCandidate& candidate : frame.candidates) {
      if (candidate.verdict != VerdictText(FeceVerdict::kRejected)) continue;
      WritePicture(
          fmt::format("crop-{}-{}", index, candidate.detection),
          EncodeCrop(picture.pixels, BoxInPicture(frame.detections[candidate.detection], frame)));
    }
  }

  // As text that the browser does not parse until it is needed.
  void WritePicture(const std::string& id, const std::string& base64) {
    if (base64.empty()) return;
    Add(fmt::format(R"(<script type="text/plain" id="{}">{}</script>)", id, base64) + "\n");
  }

  void WriteData() {
    Add(fmt::format(R"(<script type="application/json" id="data">{}</script>)",
                    JsonForScript(data_.ToJson(options_.max_frames))));
  }

  const Results& results_;
  const ReportOptions& options_;
  WholeFile& file_;
  Progress* progress_;
  ReportData data_;
  std::string nonce_;
  std::string title_;
  ReportOutcome outcome_;
};

}  // namespace

ReportOutcome WriteReport(const Results& results, const ReportOptions& options,
                          const std::string& path, Progress* progress) {
  WholeFile page(path);
  ReportOutcome outcome = PageWriter(results, options, page, progress).Write();
  outcome.frames = results.frames.size();
  ThrowIfInterrupted();
  page.Keep();
  return outcome;
}

}  // namespace dirty_seg
