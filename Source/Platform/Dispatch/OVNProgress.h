#pragma once
// OVNProgress: how much of a task is done, as unit counts. The counts are key-value
// properties ("totalUnitCount", "completedUnitCount", and the read-only
// "fractionCompleted"); setting a count announces the change of it and of
// fractionCompleted to observers, on the setting thread, with no lock held.
//
// Thread-safe: any thread may read or set the counts. fractionCompleted reads the two
// counts one after the other, so while another thread changes both it may mix old and new.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVN_EXPORT OVNProgress : public OVNObject {
  OVN_CLASS(OVNProgress, OVNObject)

 public:
  OVNProgress() = default;
  static std::shared_ptr<OVNProgress> progressWithTotalUnitCount(std::int64_t totalUnitCount);

  std::int64_t totalUnitCount() const { return total_.load(std::memory_order_acquire); }
  void setTotalUnitCount(std::int64_t count);
  std::int64_t completedUnitCount() const { return completed_.load(std::memory_order_acquire); }
  void setCompletedUnitCount(std::int64_t count);

  //! completed / total, or 0 while the total is 0 (or negative: indeterminate).
  double fractionCompleted() const;
  //! Whether the total is known and the completed count has reached it.
  bool isFinished() const;

  //! The setters announce their changes themselves.
  bool automaticallyNotifiesObserversForKey(std::string_view key) const override;

 private:
  //! Stores a count, announcing it and the fraction it changes.
  void storeCount(std::atomic<std::int64_t>& field, std::string_view key, std::int64_t count);

  std::atomic<std::int64_t> total_{0};
  std::atomic<std::int64_t> completed_{0};
};
