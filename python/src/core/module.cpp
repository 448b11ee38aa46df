// The compiled part of the Python package. dirty_seg/_core.pyi tells its types.
#include <fmt/format.h>
#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>
#include <nanobind/stl/array.h>
#include <nanobind/stl/map.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/shared_ptr.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <array>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "base/errors.h"
#include "base/stopwatch.h"
#include "calls.h"
#include "config/class_names.h"
#include "detector/frame_log.h"
#include "drawing/overlay.h"
#include "files/json_text.h"
#include "forms/coco.h"
#include "frames.h"
#include "geometry/letterbox.h"
#include "results/frame_record.h"
#include "results/run_length.h"
#include "results/stored_record.h"
#include "session.h"
#include "things/shown.h"

namespace dirty_seg::python {
namespace {

namespace nb = nanobind;
using namespace nb::literals;  // NOLINT(google-build-using-namespace): the way to name arguments

using ResultPointer = std::shared_ptr<const FrameResult>;
template <typename Value, typename... Shape>
using View = nb::ndarray<nb::numpy, const Value, Shape...>;
using Mask = nb::ndarray<nb::numpy, const std::uint8_t, nb::ndim<2>>;
using Picture = nb::ndarray<nb::numpy, std::uint8_t, nb::ndim<3>>;
using Size = std::pair<int, int>;      // height, width
using Rectangle = std::array<int, 4>;  // x, y, width, height

// Texts as Python has file names: what is not valid UTF-8 is kept as surrogates.
nb::str TextOf(const std::string& text) {
  return nb::steal<nb::str>(
      PyUnicode_DecodeFSDefaultAndSize(text.data(), static_cast<Py_ssize_t>(text.size())));
}

std::string BytesOf(const nb::str& text) {
  const nb::object bytes = nb::steal(PyUnicode_EncodeFSDefault(text.ptr()));
  if (!bytes.is_valid()) nb::raise_python_error();
  return {PyBytes_AS_STRING(bytes.ptr()), static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr()))};
}

// What arrays look into lives as long as one of them does.
template <typename Held>
nb::capsule OwnerOf(std::unique_ptr<Held> held) {
  nb::capsule owner(held.get(), [](void* pointer) noexcept { delete static_cast<Held*>(pointer); });
  held.release();
  return owner;
}

nb::capsule OwnerOf(ResultPointer result) {
  return OwnerOf(std::make_unique<ResultPointer>(std::move(result)));
}

template <typename Value>
View<Value, nb::ndim<1>> ListOf(const ResultPointer& result, const std::vector<Value>& values) {
  return View<Value, nb::ndim<1>>(values.data(), {values.size()}, OwnerOf(result));
}

View<float, nb::shape<-1, 4>> BoxesOf(const ResultPointer& result) {
  return View<float, nb::shape<-1, 4>>(result->boxes.data(), {result->boxes.size() / 4, 4},
                                       OwnerOf(result));
}

// In the picture's own pixels.
View<float, nb::shape<-1, 4>> ImageBoxesOf(const ResultPointer& result) {
  auto boxes = std::make_unique<std::vector<float>>();
  for (const std::vector<float>& box : result->record.outcome.result.bboxes) {
    for (const float edge : BoxInPicture(box, result->record.fit)) boxes->push_back(edge);
  }
  const std::vector<float>& values = *boxes;
  return View<float, nb::shape<-1, 4>>(values.data(), {values.size() / 4, 4},
                                       OwnerOf(std::move(boxes)));
}

Mask MaskOf(const ResultPointer& result, const cv::Mat& mask) {
  return Mask(mask.data, {static_cast<std::size_t>(mask.rows), static_cast<std::size_t>(mask.cols)},
              OwnerOf(result), {static_cast<std::int64_t>(mask.step[0]), 1});
}

nb::typed<nb::dict, int, Mask> LabelMasksOf(const ResultPointer& result) {
  nb::typed<nb::dict, int, Mask> masks;
  for (const auto& [label, mask] : result->record.outcome.result.label_masks) {
    masks[nb::int_(label)] = MaskOf(result, mask);
  }
  return masks;
}

// Box, score, label, name, whether it is confirmed, members, pixels, area, mask.
using ThingFields = std::tuple<std::array<float, 4>, float, int, std::string, bool,
                               std::vector<std::size_t>, std::int64_t, Rectangle, Mask>;

std::optional<std::vector<ThingFields>> ThingsOf(const ResultPointer& result) {
  if (!result->record.things) return std::nullopt;
  std::vector<ThingFields> things;
  for (const Thing& thing : *result->record.things) {
    const cv::Rect& area = thing.area;
    things.emplace_back(thing.box, thing.score, thing.kind.label, result->labels->Text(thing.kind),
                        thing.kind.is_confirmed, thing.members, thing.pixels(),
                        Rectangle{area.x, area.y, area.width, area.height},
                        MaskOf(result, thing.mask));
  }
  return things;
}

std::vector<std::string> NamesOf(const FrameResult& result) {
  std::vector<std::string> names;
  for (const Kind& kind : KindsOf(result.record.outcome, *result.labels)) {
    names.push_back(result.labels->Text(kind));
  }
  return names;
}

std::vector<bool> ConfirmedOf(const FrameResult& result) {
  std::vector<bool> confirmed;
  for (const Kind& kind : KindsOf(result.record.outcome, *result.labels)) {
    confirmed.push_back(kind.is_confirmed);
  }
  return confirmed;
}

using CandidateFields = std::tuple<std::size_t, std::string, std::optional<float>>;

std::optional<std::vector<CandidateFields>> CandidatesOf(const FrameResult& result) {
  if (!result.record.outcome.fece_candidates) return std::nullopt;
  std::vector<CandidateFields> candidates;
  for (const FeceCandidate& candidate : *result.record.outcome.fece_candidates) {
    candidates.emplace_back(candidate.detection, VerdictText(candidate.verdict), candidate.score);
  }
  return candidates;
}

std::map<std::string, double> TimesOf(const FrameResult& result) {
  std::map<std::string, double> times;
  for (const auto& [stage, time] : DetectorTimesOf(result.record.outcome)) {
    times[stage] = RoundToMicrosecond(time);
  }
  return times;
}

// Tag and message, as INFO and what follows; of the engine, ERROR.
std::vector<std::pair<std::string, std::string>> EntriesOf(const CallLines& lines) {
  std::vector<std::pair<std::string, std::string>> entries;
  for (const std::string& line : lines.errors) entries.emplace_back("ERROR", line);
  for (const std::string& line : lines.log) {
    if (std::optional<LogEntry> entry = ReadLogEntry(line)) {
      entries.emplace_back(std::move(entry->tag), std::move(entry->message));
    }
  }
  return entries;
}

std::vector<std::string> ComplaintsOf(const FrameResult& result) {
  const FrameOutcome& outcome = result.record.outcome;
  std::vector<std::string> complaints = outcome.complaints;
  if (!outcome.non_finite.empty()) complaints.push_back(NonFiniteText(outcome.non_finite));
  return complaints;
}

std::string LineOf(const FrameResult& result, const nb::str& source, std::int64_t frame) {
  FrameRecord record = result.record;
  record.source = BytesOf(source);
  record.frame = frame;
  const Stopwatch watch;
  record.masks = DescribeMasks(record.outcome.result);
  record.write_ms = watch.Milliseconds();
  return ToText(ToJson(record, *result.labels));
}

ResultPointer ResultOfLine(const nb::str& line, const std::shared_ptr<Labels>& labels,
                           std::vector<std::string> complaints, const nb::str& file,
                           std::size_t number) {
  const StoredFrame stored = ReadStoredFrame(BytesOf(line), BytesOf(file), number);
  FrameRecord record = RecordOf(stored);
  AddMasks(stored, record);
  record.outcome.complaints = std::move(complaints);
  record.outcome.non_finite = stored.non_finite;
  return MakeResult(std::move(record), labels);
}

// A mask, 0 or 255, of COCO's compressed run lengths. std::invalid_argument becomes ValueError.
Mask MaskOfRunLengths(std::int32_t height, std::int32_t width, const std::string& counts) {
  auto decoded = std::make_unique<cv::Mat>(DecodeRunLengths({height, width, counts}));
  const cv::Mat& mat = *decoded;
  return Mask(mat.data, {static_cast<std::size_t>(mat.rows), static_cast<std::size_t>(mat.cols)},
              OwnerOf(std::move(decoded)), {static_cast<std::int64_t>(mat.step[0]), 1});
}

Shown ShownOf(const FrameResult& result) {
  const FrameRecord& record = result.record;
  if (record.things) return ShowThings(*record.things, record.fit);
  return ShowDetections(record.outcome, ResultInPicture(record.outcome.result, record.fit),
                        record.fit, *result.labels);
}

std::string CocoOf(const FrameResult& result, std::size_t image_id) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Finding& finding : ShownOf(result).findings) {
    if (!finding.is_in_picture) continue;
    list.push_back(CocoResult(finding, result.record.fit.picture, image_id,
                              result.labels->IdOf(finding.kind)));
  }
  return ToText(list);
}

Picture Draw(const FrameResult& result, nb::handle object) {
  const AnyArray array = ArrayOf(object);
  const std::shared_ptr<cv::Mat> picture = PictureOf(array);
  if (picture->size() != result.record.fit.picture) {
    const cv::Size& expected = result.record.fit.picture;
    throw std::invalid_argument(
        fmt::format("the picture is [{}, {}, 3]; expected that of the result, [{}, {}, 3]",
                    picture->rows, picture->cols, expected.height, expected.width));
  }
  auto drawn = std::make_unique<cv::Mat>(
      WithoutInterpreter([&] { return DrawOverlay(*picture, ShownOf(result), *result.labels); }));
  const cv::Mat& mat = *drawn;
  return Picture(mat.data,
                 {static_cast<std::size_t>(mat.rows), static_cast<std::size_t>(mat.cols), 3},
                 OwnerOf(std::move(drawn)), {static_cast<std::int64_t>(mat.step[0]), 3, 1});
}

ResultPointer Detect(Session& session, nb::handle object, const std::string& fit) {
  const AnyArray array = ArrayOf(object);
  const FitMode mode = FitModeOf(fit);
  return WithoutInterpreter(
      [&, picture = PictureOf(array)] { return session.Detect(picture, mode); });
}

std::vector<Rectangle> PatchesOf(const Session& session) {
  std::vector<Rectangle> patches;
  for (const cv::Rect& patch : session.patches()) {
    patches.push_back({patch.x, patch.y, patch.width, patch.height});
  }
  return patches;
}

// Sets Python's error: `type` of the package, or ValueError, with the words of the shared code in
// those of the package.
void Raise(const char* type, const std::string& text) {
  const nb::object errors = nb::module_::import_("dirty_seg._errors");
  const nb::object words = errors.attr("in_python_words")(TextOf(text));
  const nb::object raised = type == nullptr ? nb::borrow(PyExc_ValueError) : errors.attr(type);
  PyErr_SetObject(raised.ptr(), words.ptr());
}

void Translate(const std::exception_ptr& exception, void* /*payload*/) try {
  std::rethrow_exception(exception);
} catch (const SetupError& error) {
  Raise("SetupError", error.what());
} catch (const UsageError& error) {
  Raise("UsageError", error.what());
} catch (const InputError& error) {
  Raise(nullptr, std::string("the frame ") + error.what());
}

template <std::string DetectorOptions::*member>
void BindText(nb::class_<DetectorOptions>& options, const char* name) {
  options.def_prop_rw(
      name, [](const DetectorOptions& o) { return TextOf(o.*member); },
      [](DetectorOptions& o, const nb::str& text) { o.*member = BytesOf(text); });
}

void BindOptions(nb::module_& module) {
  nb::class_<DetectorOptions> options(module, "Options");
  BindText<&DetectorOptions::model>(options, "model");
  BindText<&DetectorOptions::config>(options, "config");
  BindText<&DetectorOptions::names>(options, "names");
  BindText<&DetectorOptions::fece_model>(options, "fece_model");
  options.def(nb::init<>())
      .def_prop_rw(
          "config_text",
          [](const DetectorOptions& o) {
            return o.config_text ? std::optional(TextOf(*o.config_text)) : std::nullopt;
          },
          [](DetectorOptions& o, const std::optional<nb::str>& text) {
            o.config_text = text ? std::optional(BytesOf(*text)) : std::nullopt;
          },
          nb::arg().none())
      .def_rw("fece_class_ids", &DetectorOptions::fece_class_ids)
      .def_rw("fece_score_threshold", &DetectorOptions::fece_score_threshold)
      .def_rw("fece_area_threshold", &DetectorOptions::fece_area_threshold)
      .def_rw("threads", &DetectorOptions::threads)
      .def_prop_rw(
          "score", [](const DetectorOptions& o) { return o.thresholds.score; },
          [](DetectorOptions& o, std::optional<float> v) { o.thresholds.score = v; },
          nb::arg().none())
      .def_prop_rw(
          "iou", [](const DetectorOptions& o) { return o.thresholds.iou; },
          [](DetectorOptions& o, std::optional<float> v) { o.thresholds.iou = v; },
          nb::arg().none())
      .def_prop_rw(
          "max_detections", [](const DetectorOptions& o) { return o.thresholds.max_detections; },
          [](DetectorOptions& o, std::optional<int> v) { o.thresholds.max_detections = v; },
          nb::arg().none())
      .def_prop_rw(
          "mask", [](const DetectorOptions& o) { return o.thresholds.mask; },
          [](DetectorOptions& o, std::optional<float> v) { o.thresholds.mask = v; },
          nb::arg().none())
      .def_prop_rw(
          "classes", [](const DetectorOptions& o) { return o.thresholds.classes; },
          [](DetectorOptions& o, std::vector<int> v) { o.thresholds.classes = std::move(v); });
}

void BindLabels(nb::module_& module) {
  nb::class_<Labels>(module, "Labels")
      .def(
          "__init__",
          [](Labels* self, std::map<std::int32_t, std::string> names, bool has_classifier,
             std::int64_t class_count) {
            new (self) Labels(LabelSources{std::move(names), has_classifier, class_count});
          },
          "names"_a, "has_classifier"_a, "class_count"_a)
      .def_prop_ro("names", &Labels::names)
      .def("sources", [](const Labels& labels) {
        const LabelSources& sources = labels.sources();
        return std::tuple(sources.class_names, sources.has_classifier, sources.class_count);
      });
}

void BindResult(nb::module_& module) {
  nb::class_<FrameResult>(module, "FrameResult")
      .def_static("from_line", &ResultOfLine, "line"_a, "labels"_a, "complaints"_a,
                  "file"_a = "results", "number"_a = 1)
      .def_prop_ro("success",
                   [](const FrameResult& result) { return result.record.outcome.result.success; })
      .def_prop_ro("message",
                   [](const FrameResult& result) { return result.record.outcome.result.message; })
      .def_prop_ro("boxes", &BoxesOf, nb::rv_policy::reference)
      .def_prop_ro("image_boxes", &ImageBoxesOf, nb::rv_policy::reference)
      .def_prop_ro(
          "scores",
          [](const ResultPointer& result) {
            return ListOf(result, result->record.outcome.result.scores);
          },
          nb::rv_policy::reference)
      .def_prop_ro(
          "labels",
          [](const ResultPointer& result) {
            return ListOf(result, result->record.outcome.result.labels);
          },
          nb::rv_policy::reference)
      .def_prop_ro(
          "mask_pixel_counts",
          [](const ResultPointer& result) {
            return ListOf(result, result->record.outcome.result.mask_pixel_counts);
          },
          nb::rv_policy::reference)
      .def_prop_ro("label_masks", &LabelMasksOf, nb::rv_policy::reference)
      .def_prop_ro("things", &ThingsOf, nb::rv_policy::reference)
      .def_prop_ro("names", &NamesOf)
      .def_prop_ro("confirmed", &ConfirmedOf)
      .def_prop_ro("candidates", &CandidatesOf)
      .def_prop_ro("non_finite",
                   [](const FrameResult& result) { return result.record.outcome.non_finite; })
      .def_prop_ro("complaints", &ComplaintsOf)
      .def_prop_ro("timing_ms", &TimesOf)
      .def_prop_ro("image_size",
                   [](const FrameResult& result) {
                     const cv::Size& size = result.record.fit.picture;
                     return Size(size.height, size.width);
                   })
      .def_prop_ro("placed_size",
                   [](const FrameResult& result) {
                     const cv::Size& size = result.record.fit.placed;
                     return Size(size.height, size.width);
                   })
      .def_prop_ro("scale", [](const FrameResult& result) { return result.record.fit.scale; })
      .def_prop_ro(
          "class_labels",
          [](const FrameResult& result) { return std::const_pointer_cast<Labels>(result.labels); })
      .def("log", [](const FrameResult& result) { return EntriesOf(result.record.outcome.lines); })
      .def("line", &LineOf, "source"_a, "frame"_a)
      .def("coco", &CocoOf, "image_id"_a)
      .def("draw", &Draw, nb::arg("picture").none());
}

void BindSession(nb::module_& module) {
  nb::class_<Session>(module, "Session")
      .def(
          "__init__",
          [](Session* self, const DetectorOptions& options, bool merge) {
            WithoutInterpreter([&] { return new (self) Session(options, merge); });
          },
          "options"_a, "merge"_a)
      .def("detect", &Detect, nb::arg("frame").none(), "fit"_a)
      .def("close",
           [](Session& session) {
             WithoutInterpreter([&] {
               session.Close();
               return 0;
             });
           })
      .def_prop_ro("warnings",
                   [](const Session& session) {
                     std::vector<nb::str> warnings;
                     for (const std::string& text : session.warnings()) {
                       warnings.push_back(TextOf(text));
                     }
                     return warnings;
                   })
      .def_prop_ro(
          "labels",
          [](const Session& session) { return std::const_pointer_cast<Labels>(session.labels()); })
      .def_prop_ro("patches", &PatchesOf);
}

}  // namespace

NB_MODULE(_core, module) {
  nb::set_leak_warnings(false);  // of detectors that live until the interpreter ends
  nb::register_exception_translator(&Translate);
  BindOptions(module);
  BindLabels(module);
  BindResult(module);
  BindSession(module);
  module.attr("version") = DIRTY_SEG_VERSION;
  module.attr("max_class_id") = kMaxClassId;
  module.attr("max_detections") = nuvik::model::kMaxDetections;
  module.attr("max_threads") = nuvik::alg::common::kAIMaxThreads;
  module.def("decode_run_lengths", &MaskOfRunLengths, "height"_a, "width"_a, "counts"_a);
  module.def("frame_size", [] {
    const cv::Size size = nuvik::geometry::FrameSize();
    return Size(size.height, size.width);
  });
  nb::module_::import_("atexit").attr("register")(nb::cpp_function([] { Calls().WaitForAll(); }));
}

}  // namespace dirty_seg::python
