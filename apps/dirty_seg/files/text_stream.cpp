#include "files/text_stream.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "files/json_text.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

std::string LastError() { return std::strerror(errno); }

}  // namespace

// Bypasses the stream's buffer, which would lose its place when Ctrl-C interrupts a full pipe.
bool WriteText(const std::string& text, std::FILE* file) {
  if (std::fflush(file) != 0) return false;
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = write(fileno(file), text.data() + done, text.size() - done);
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  return true;
}

void PrintResult(const std::string& text, const char* what, std::FILE* file) {
  if (!WriteText(text, file)) {
    throw SetupError(fmt::format("{} cannot be written to standard output: {}", what, LastError()));
  }
}

void WriteJsonLine(const ordered_json& json, const std::string& destination, std::FILE* file) {
  if (!WriteText(ToText(json) + "\n", file)) {
    const std::string cause = LastError();
    std::clearerr(file);
    throw OutputError(fmt::format("the result cannot be written to {}: {}", destination, cause));
  }
}

}  // namespace dirty_seg
