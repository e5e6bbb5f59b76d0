#pragma once
// One match of a regular expression (NSTextCheckingResult): the range of the whole match
// and of each capture group, counted in UTF-16 code units of the searched text. A value;
// copies are independent and may be used on any thread.

#include <cstddef>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNRange.h"

class OVN_EXPORT OVNTextCheckingResult {
 public:
  //! `ranges[0]` is the whole match, then one range per capture group.
  explicit OVNTextCheckingResult(std::vector<OVNRange> ranges);

  //! The range of the whole match.
  OVNRange range() const { return ranges_.empty() ? OVNRange{} : ranges_.front(); }
  //! One more than the number of capture groups in the pattern.
  std::size_t numberOfRanges() const { return ranges_.size(); }
  //! Range 0 is the whole match; a group that took no part in the match has location
  //! `OVNNotFound` and length 0. Throws OVNException (NSRangeException) for an index at or
  //! beyond `numberOfRanges()`.
  OVNRange rangeAtIndex(std::size_t index) const;

  friend bool operator==(const OVNTextCheckingResult&, const OVNTextCheckingResult&) = default;

 private:
  std::vector<OVNRange> ranges_;
};
