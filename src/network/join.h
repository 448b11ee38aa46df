// Lists in messages.
#pragma once

#include <string>
#include <vector>

namespace nuvik::model {

/// `texts` one after the other, with ", " between.
inline std::string Join(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    if (&text != &texts.front()) joined += ", ";
    joined += text;
  }
  return joined;
}

}  // namespace nuvik::model
