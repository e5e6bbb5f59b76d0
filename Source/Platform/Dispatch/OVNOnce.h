#pragma once
// Runs a piece of initialisation exactly once, however many threads race to it:
//
//   static OVNOnce once;
//   once.run([] { ...build the shared table... });
//
// Every caller returns only after the first run has finished, and the block runs on the
// thread that got there first. If the block throws, the exception reaches that caller and
// a later run() tries again. Any thread may call run().

#include <mutex>
#include <utility>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNOnce {
 public:
  OVNOnce() = default;
  OVNOnce(const OVNOnce&) = delete;
  OVNOnce& operator=(const OVNOnce&) = delete;

  template <class Block>
  void run(Block&& block) {
    std::call_once(flag_, std::forward<Block>(block));
  }

 private:
  std::once_flag flag_;
};
