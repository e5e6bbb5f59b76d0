#pragma once
// A callback carried in an OVNValue (a property of block type read by key-value coding).
// The callback keeps its C++ type; read it back with `as<std::function<...>>()`. Immutable;
// the callback runs on whichever thread calls it.

#include <memory>
#include <typeinfo>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNBlock {
 public:
  virtual ~OVNBlock() = default;
  virtual const std::type_info& type() const = 0;

  template <class F>
  static std::shared_ptr<const OVNBlock> make(F function);

  //! The callback when it is of type F, else null.
  template <class F>
  const F* as() const;

 protected:
  virtual const void* target() const = 0;
};

namespace ovn::detail {
template <class F>
class TypedBlock final : public OVNBlock {
 public:
  explicit TypedBlock(F f) : function_(std::move(f)) {}
  const std::type_info& type() const override { return typeid(F); }

 protected:
  const void* target() const override { return &function_; }

 private:
  F function_;
};
}  // namespace ovn::detail

template <class F>
std::shared_ptr<const OVNBlock> OVNBlock::make(F function) {
  return std::make_shared<ovn::detail::TypedBlock<F>>(std::move(function));
}

template <class F>
const F* OVNBlock::as() const {
  return type() == typeid(F) ? static_cast<const F*>(target()) : nullptr;
}
