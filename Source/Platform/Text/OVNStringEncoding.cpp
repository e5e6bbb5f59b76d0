#include "Platform/Text/OVNStringEncoding.h"

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Text/detail/OVNICUString.h"

namespace {

struct KnownEncoding {
  OVNStringEncoding encoding;
  const char* icuName;  // any name ICU knows the converter by
};

constexpr std::array<KnownEncoding, 20> kKnownEncodings{{
    {OVNASCIIStringEncoding, "US-ASCII"},
    {OVNJapaneseEUCStringEncoding, "EUC-JP"},
    {OVNUTF8StringEncoding, "UTF-8"},
    {OVNISOLatin1StringEncoding, "ISO-8859-1"},
    {OVNShiftJISStringEncoding, "Shift_JIS"},
    {OVNISOLatin2StringEncoding, "ISO-8859-2"},
    {OVNUTF16StringEncoding, "UTF-16"},
    {OVNWindowsCP1251StringEncoding, "windows-1251"},
    {OVNWindowsCP1252StringEncoding, "windows-1252"},
    {OVNWindowsCP1253StringEncoding, "windows-1253"},
    {OVNWindowsCP1254StringEncoding, "windows-1254"},
    {OVNWindowsCP1250StringEncoding, "windows-1250"},
    {OVNISO2022JPStringEncoding, "ISO-2022-JP"},
    {OVNMacOSRomanStringEncoding, "macintosh"},
    {OVNUTF16BigEndianStringEncoding, "UTF-16BE"},
    {OVNUTF16LittleEndianStringEncoding, "UTF-16LE"},
    {OVNUTF32StringEncoding, "UTF-32"},
    {OVNUTF32BigEndianStringEncoding, "UTF-32BE"},
    {OVNUTF32LittleEndianStringEncoding, "UTF-32LE"},
    {OVNInvalidStringEncoding, nullptr},
}};

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

Converter openConverter(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name, &status));
  if (U_FAILURE(status)) return nullptr;
  return converter;
}

// ICU's own name for the converter of `name`: aliases and spellings meet there.
std::string canonicalName(const char* name) {
  Converter converter = openConverter(name);
  if (!converter) return {};
  UErrorCode status = U_ZERO_ERROR;
  const char* canonical = ucnv_getName(converter.get(), &status);
  return U_SUCCESS(status) && canonical ? canonical : "";
}

const char* icuNameForEncoding(OVNStringEncoding encoding) {
  for (const KnownEncoding& known : kKnownEncodings) {
    if (known.icuName && known.encoding == encoding) return known.icuName;
  }
  return nullptr;
}

}  // namespace

OVNStringEncoding OVNStringConvertIANACharSetNameToEncoding(std::string_view name) {
  if (name.empty()) return OVNInvalidStringEncoding;
  const std::string wanted = canonicalName(std::string(name).c_str());
  if (wanted.empty()) return OVNInvalidStringEncoding;
  // Opening a converter costs more than comparing names: the known ones are named once.
  static const std::vector<std::pair<std::string, OVNStringEncoding>> known = [] {
    std::vector<std::pair<std::string, OVNStringEncoding>> names;
    for (const KnownEncoding& entry : kKnownEncodings) {
      if (entry.icuName) names.emplace_back(canonicalName(entry.icuName), entry.encoding);
    }
    return names;
  }();
  for (const auto& [canonical, encoding] : known) {
    if (!canonical.empty() && canonical == wanted) return encoding;
  }
  return OVNInvalidStringEncoding;
}

std::optional<std::string> OVNStringDecodeBytes(std::string_view bytes, OVNStringEncoding encoding) {
  const char* icuName = icuNameForEncoding(encoding);
  if (!icuName) return std::nullopt;
  Converter converter = openConverter(icuName);
  if (!converter) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  // Stop at the first byte sequence the encoding does not allow, instead of substituting.
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  if (U_FAILURE(status)) return std::nullopt;
  const icu::UnicodeString text(bytes.data(), static_cast<std::int32_t>(bytes.size()), converter.get(), status);
  if (U_FAILURE(status)) return std::nullopt;
  return ovn::detail::OVNICUString::toUTF8(text);
}
