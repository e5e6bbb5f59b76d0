#pragma once
// Options and change-dictionary keys of key-value observation, with the platform's values.

#include <cstdint>
#include <string_view>

inline constexpr std::uint64_t OVNKeyValueObservingOptionNew = 0x01;
inline constexpr std::uint64_t OVNKeyValueObservingOptionOld = 0x02;
inline constexpr std::uint64_t OVNKeyValueObservingOptionInitial = 0x04;
inline constexpr std::uint64_t OVNKeyValueObservingOptionPrior = 0x08;

//! Values of the change dictionary's "kind" entry.
inline constexpr std::uint64_t OVNKeyValueChangeSetting = 1;
inline constexpr std::uint64_t OVNKeyValueChangeInsertion = 2;
inline constexpr std::uint64_t OVNKeyValueChangeRemoval = 3;
inline constexpr std::uint64_t OVNKeyValueChangeReplacement = 4;

inline constexpr std::string_view OVNKeyValueChangeKindKey = "kind";
inline constexpr std::string_view OVNKeyValueChangeNewKey = "new";
inline constexpr std::string_view OVNKeyValueChangeOldKey = "old";
inline constexpr std::string_view OVNKeyValueChangeIndexesKey = "indexes";
inline constexpr std::string_view OVNKeyValueChangeNotificationIsPriorKey = "notificationIsPrior";
