#pragma once
// The platform secure store's vocabulary: the keys of item queries and attributes, their
// values, and the status codes of store operations, with the platform's own values. The
// store itself (add, update, copy matching, delete) is built on these.

#include <cstdint>
#include <string_view>

using OVNStatus = std::int32_t;
inline constexpr OVNStatus errSecSuccess = 0;
inline constexpr OVNStatus errSecItemNotFound = -25300;
inline constexpr OVNStatus errSecDuplicateItem = -25299;
//! No store can be reached (no secret service, no writable directory).
inline constexpr OVNStatus errSecNotAvailable = -25291;
//! The item or its keyring is locked and unlocking it would need the user (a prompt).
inline constexpr OVNStatus errSecInteractionNotAllowed = -25308;

inline constexpr std::string_view kSecClass = "class";
inline constexpr std::string_view kSecClassGenericPassword = "genp";
inline constexpr std::string_view kSecAttrService = "svce";
inline constexpr std::string_view kSecAttrAccount = "acct";
inline constexpr std::string_view kSecAttrLabel = "labl";
inline constexpr std::string_view kSecValueData = "v_Data";
inline constexpr std::string_view kSecAttrAccessible = "pdmn";
inline constexpr std::string_view kSecAttrAccessibleWhenUnlocked = "ak";
inline constexpr std::string_view kSecReturnData = "r_Data";
inline constexpr std::string_view kSecMatchLimit = "m_Limit";
inline constexpr std::string_view kSecMatchLimitOne = "m_LimitOne";
