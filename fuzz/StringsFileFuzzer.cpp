// Parses arbitrary bytes as a ".strings" table: never a crash or hang, and every entry of a
// table that parses is valid UTF-8.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/System/OVNStringsFile.h"
#include "Platform/Text/OVNString.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto table = OVNStringsFile::parse(std::string_view(reinterpret_cast<const char*>(bytes), size));
  if (!table) return 0;
  for (const auto& [key, value] : *table) {
    if (!OVNString::isValidUTF8(key) || !OVNString::isValidUTF8(value)) std::abort();
  }
  return 0;
}
