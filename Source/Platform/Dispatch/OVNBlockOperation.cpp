#include "Platform/Dispatch/OVNBlockOperation.h"

#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNBlockOperation)

std::shared_ptr<OVNBlockOperation> OVNBlockOperation::blockOperationWithBlock(std::function<void()> block) {
  auto operation = OVNMake<OVNBlockOperation>();
  operation->addExecutionBlock(std::move(block));
  return operation;
}

void OVNBlockOperation::addExecutionBlock(std::function<void()> block) {
  if (!block) OVNException::raise(OVNInvalidArgumentException, "a block operation needs a block");
  std::lock_guard guard(blocksLock_);
  if (isExecuting() || isFinished()) {
    OVNException::raise(OVNInvalidArgumentException, "blocks cannot be added once a block operation has started");
  }
  blocks_.push_back(std::move(block));
}

std::size_t OVNBlockOperation::executionBlockCount() const {
  std::lock_guard guard(blocksLock_);
  return blocks_.size();
}

void OVNBlockOperation::main() {
  std::vector<std::function<void()>> blocks;
  {
    std::lock_guard guard(blocksLock_);
    blocks.swap(blocks_);  // released after running, so their captures go with them
  }
  for (auto& block : blocks) {
    if (isCancelled()) break;
    block();
  }
}
