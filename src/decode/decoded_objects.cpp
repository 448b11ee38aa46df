#include "engine/decoded_objects.h"

#include <utility>

#include "decode/kept_objects.h"

namespace nuvik::model {
namespace {

// A detector, and so its post-processor, works on its caller's thread.
DecodedObjects*& Youngest() {
  thread_local DecodedObjects* youngest = nullptr;
  return youngest;
}

}  // namespace

DecodedObjects::DecodedObjects() noexcept : outer_(std::exchange(Youngest(), this)) {}

DecodedObjects::~DecodedObjects() { Youngest() = outer_; }

std::vector<std::vector<Object>> DecodedObjects::Take() { return std::exchange(objects_, {}); }

void KeepObjects(const std::vector<std::vector<Object>>& objects) {
  if (Youngest() != nullptr) Youngest()->objects_ = objects;
}

}  // namespace nuvik::model
