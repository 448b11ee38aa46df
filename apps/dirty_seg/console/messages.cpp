#include "console/messages.h"

#include <cstdio>

#include "base/printable.h"
#include "console/engine_text.h"

namespace dirty_seg {
namespace {

bool is_quiet_now = false;
bool has_status_line = false;

void RemoveStatusLine() {
  if (has_status_line) std::fputs("\r\033[K", stderr);
  has_status_line = false;
}

void Write(const char* beginning, const char* kind, std::string_view text) {
  RemoveStatusLine();
  std::fprintf(stderr, "%s%s%s\n", beginning, kind, Printable(text).c_str());
}

}  // namespace

void SetQuiet(bool is_quiet) { is_quiet_now = is_quiet; }

void PrintMessage(std::string_view text, const char* kind) {
  if (!is_quiet_now) Write("dirty_seg: ", kind, text);
}

void PrintWarning(std::string_view text) { PrintMessage(text, "warning: "); }

void PrintError(std::string_view text) { Write("dirty_seg: ", "error: ", text); }

void PrintEngineLine(const std::string& line) {
  RemoveStatusLine();
  std::fprintf(stderr, "%s%s\n", kEngineSpeaker.data(), line.c_str());
}

void PrintForeignLine(const std::string& line) {
  RemoveStatusLine();
  std::fprintf(stderr, "%s\n", line.c_str());
}

void PrintLine(std::string_view text) {
  if (!is_quiet_now) Write("", "", text);
}

void ShowStatusLine(std::string_view text) {
  RemoveStatusLine();
  if (is_quiet_now || text.empty()) return;
  std::fputs(Printable(text).c_str(), stderr);
  has_status_line = true;
}

}  // namespace dirty_seg
