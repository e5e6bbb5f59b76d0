#include "Categories/NSMutableArray+OvrinCore.h"

void ovn_reverse(const OVNArrayRef& mutableArray) {
  if (!mutableArray || mutableArray->count() < 2) return;
  for (std::size_t low = 0, high = mutableArray->count() - 1; low < high; ++low, --high) {
    OVNValue first = mutableArray->at(low);
    mutableArray->replace(low, mutableArray->at(high));
    mutableArray->replace(high, std::move(first));
  }
}
