#include <dlfcn.h>
#include <fmt/format.h>
#include <link.h>

#include <string>
#include <system_error>

#include "base/errors.h"
#include "base/version.h"
#include "media/media.h"
#include "media/media_entry.h"

namespace dirty_seg {
namespace {

[[noreturn]] void Refuse(const std::string& cause) {
  throw SetupError(fmt::format(
      "the library that reads and writes pictures cannot be used: {}; expected {} as it "
      "is installed with {}",
      cause, kMediaLibrary, NameAndVersion()));
}

std::string PathOf(void* library) {
  const link_map* map = nullptr;
  return dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : kMediaLibrary;
}

// Never unloaded: the libraries below it leave threads and handlers behind.
const Media& Load() {
  // Is dlopen, but for the sanitizers: they put themselves before that, and the loader would search
  // by their RUNPATH, not by ours. Lazy for the many libraries below, which bind as they would at
  // the program's start; it is linked to bind its own names at once.
  void* const library = dlmopen(LM_ID_BASE, kMediaLibrary, RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) Refuse(dlerror());
  auto* const entry = reinterpret_cast<MediaEntry*>(dlsym(library, kMediaEntry));
  const Media* const media = entry == nullptr ? nullptr : entry(Version());
  if (media == nullptr) Refuse(fmt::format("'{}' is another version's", PathOf(library)));
  return *media;
}

}  // namespace

const Media& LoadMedia() {
  static const Media& media = Load();
  return media;
}

// Without a thread, or where it fails, the first that needs the library loads it.
std::future<void> LoadMediaAhead() try {
  return std::async(std::launch::async, [] { LoadMedia(); });
} catch (const std::system_error&) {
  return {};
}

}  // namespace dirty_seg
