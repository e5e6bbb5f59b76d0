#pragma once
// An operation that runs blocks: its main() runs them one after another, in the order they
// were added, on the operation's thread, and skips the rest once the operation is
// cancelled. Any thread may add blocks until the operation starts; adding one later is a
// programming error (OVNException, OVNInvalidArgumentException).

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNOperation.h"

class OVN_EXPORT OVNBlockOperation : public OVNOperation {
  OVN_CLASS(OVNBlockOperation, OVNOperation)

 public:
  OVNBlockOperation() = default;

  static std::shared_ptr<OVNBlockOperation> blockOperationWithBlock(std::function<void()> block);
  void addExecutionBlock(std::function<void()> block);
  //! Blocks added and not yet taken by main().
  std::size_t executionBlockCount() const;

  void main() override;

 private:
  mutable std::mutex blocksLock_;
  std::vector<std::function<void()>> blocks_;  // under blocksLock_
};
