// Parses arbitrary bytes as a URL query string and checks the URL text helpers' contracts:
// every parsed entry is text, serializing the result works, and URL-encoding then decoding
// valid UTF-8 gives the text back.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Categories/NSDictionary+OvrinCore.h"
#include "Categories/NSString+OvrinCore.h"
#include "Platform/Text/OVNString.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  OVNDictionaryRef parsed = ovn_dictionaryWithQueryString(text);
  if (!parsed || parsed->isMutable()) std::abort();
  for (const auto& [key, value] : *parsed) {
    if (!value.isString() || !OVNString::isValidUTF8(key)) std::abort();
  }
  (void)ovn_serializedString(*parsed);
  // Encoding takes the text up to its first NUL, as a C string would be.
  if (OVNString::isValidUTF8(text) && text.find('\0') == std::string_view::npos) {
    const std::optional<std::string> decoded = ovn_URLDecodedString(ovn_URLEncodedString(text));
    if (!decoded || *decoded != text) std::abort();
  }
  return 0;
}
