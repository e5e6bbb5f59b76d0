#include "Categories/NSObject+OvrinCore.h"

#include <atomic>
#include <memory>

#include "Platform/OVNDispatchQueue.h"

OVNCancelableBlock ovn_performBlock(std::function<void()> block, double delay) {
  // Atomic rather than a plain flag: the cancelling thread and the main queue share it.
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  OVNCancelableBlock handle = [cancelled, block = std::move(block)](bool cancel) {
    if (cancel) {
      cancelled->store(true);
    } else if (!cancelled->load() && block) {
      block();
    }
  };
  OVNDispatchQueue::main()->after(delay, [handle] { handle(false); });
  return handle;
}

void ovn_cancelBlock(const OVNCancelableBlock& handle) {
  if (handle) handle(true);
}

void ovn_performBlockOnMainThread(const std::function<void()>& block) { OVNDispatchQueue::main()->sync(block); }

void ovn_performBlockInBackground(std::function<void()> block) {
  OVNDispatchQueue::global(OVNQualityOfService::Background)->async(std::move(block));
}
