// Base class of the module's data records.
#pragma once

#include <cstdint>
#include <string>

#include "engine/export.h"

namespace nuvik::utils {

/// A record with a name. Not thread-safe; copies are independent.
class NUVIK_EXPORT DataBase {
 public:
  explicit DataBase(const std::string& name);
  virtual ~DataBase();
  DataBase(const DataBase&) = default;
  DataBase& operator=(const DataBase&) = default;

  /// The name given at construction, valid as long as the record.
  virtual const std::string& name() const;

 private:
  std::string name_;

 public:
  /// Time of the data in nanoseconds and its running number. For the host's use: the detector
  /// leaves both 0.
  std::int64_t timestamp_ns = 0;
  std::int64_t sequence = 0;
};

}  // namespace nuvik::utils
