#include "Platform/Objects/OVNPropertyTraits.h"

namespace ovn::detail {
std::string makeAttributes(const std::string& encoding, const char* ownership, bool readOnly, bool dynamic,
                           const std::string& field) {
  std::string text = "T" + encoding;
  if (readOnly) text += ",R";
  if (ownership && *ownership) {
    text += ',';
    text += ownership;
  }
  text += ",N";
  if (dynamic) text += ",D";
  if (!field.empty()) text += ",V" + field;
  return text;
}
}  // namespace ovn::detail
