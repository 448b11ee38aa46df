#include "base/version.h"

namespace dirty_seg {

const char* Version() { return DIRTY_SEG_VERSION; }

const char* NameAndVersion() { return "dirty_seg " DIRTY_SEG_VERSION; }

}  // namespace dirty_seg
