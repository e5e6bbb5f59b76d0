#pragma once
// Text encodings by the platform's numbers (NSStringEncoding), the IANA charset names that
// HTTP replies declare, and decoding bytes of an encoding into the library's UTF-8 text.
// Thread-safe: pure functions (the converters behind them are made per call).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"

using OVNStringEncoding = std::uint64_t;

//! No encoding: an unknown charset name gives this.
inline constexpr OVNStringEncoding OVNInvalidStringEncoding = 0;
inline constexpr OVNStringEncoding OVNASCIIStringEncoding = 1;
inline constexpr OVNStringEncoding OVNJapaneseEUCStringEncoding = 3;
inline constexpr OVNStringEncoding OVNUTF8StringEncoding = 4;
inline constexpr OVNStringEncoding OVNISOLatin1StringEncoding = 5;
inline constexpr OVNStringEncoding OVNShiftJISStringEncoding = 8;
inline constexpr OVNStringEncoding OVNISOLatin2StringEncoding = 9;
//! UTF-16 with a byte-order mark, big-endian without one.
inline constexpr OVNStringEncoding OVNUTF16StringEncoding = 10;
inline constexpr OVNStringEncoding OVNWindowsCP1251StringEncoding = 11;
inline constexpr OVNStringEncoding OVNWindowsCP1252StringEncoding = 12;
inline constexpr OVNStringEncoding OVNWindowsCP1253StringEncoding = 13;
inline constexpr OVNStringEncoding OVNWindowsCP1254StringEncoding = 14;
inline constexpr OVNStringEncoding OVNWindowsCP1250StringEncoding = 15;
inline constexpr OVNStringEncoding OVNISO2022JPStringEncoding = 21;
inline constexpr OVNStringEncoding OVNMacOSRomanStringEncoding = 30;
inline constexpr OVNStringEncoding OVNUTF16BigEndianStringEncoding = 0x90000100;
inline constexpr OVNStringEncoding OVNUTF16LittleEndianStringEncoding = 0x94000100;
inline constexpr OVNStringEncoding OVNUTF32StringEncoding = 0x8c000100;
inline constexpr OVNStringEncoding OVNUTF32BigEndianStringEncoding = 0x98000100;
inline constexpr OVNStringEncoding OVNUTF32LittleEndianStringEncoding = 0x9c000100;

//! The encoding an IANA charset name ("utf-8", "ISO-8859-1", "latin1", "windows-1252")
//! stands for, any alias and any case; OVNInvalidStringEncoding for a name that is unknown
//! or names an encoding without a number above.
OVN_EXPORT OVNStringEncoding OVNStringConvertIANACharSetNameToEncoding(std::string_view name);

//! `bytes` read in `encoding`, as UTF-8 text; none when the bytes are not valid in it or the
//! encoding is not one of the above.
OVN_EXPORT std::optional<std::string> OVNStringDecodeBytes(std::string_view bytes, OVNStringEncoding encoding);
