#pragma once
// OVNCachedContent: one cached value with an optional expiry, the record every cache stores.
// Archived with keyed coding under the keys "object" and "expires" (the value must itself
// be archivable to be written: a string, number, date, data, container or an object that
// supports keyed coding).
//
// Equality is deliberately narrow: a record equals itself, and another record only when
// both carry a value and an expiry and those are equal. A record without a value or without
// an expiry therefore equals nothing but itself. The hash is the value's hash XOR the
// expiry's (absent ones count 0).
//
// Threads: a plain value object. The caches never change a stored record, so a record may
// be read from any thread; its setters are for one thread at a time.
#include <memory>
#include <optional>

#include "Cache/OVNExpirable.h"
#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVN_EXPORT OVNCachedContent : public OVNObject, public OVNExpirable {
  OVN_CLASS(OVNCachedContent, OVNObject)

 public:
  OVNCachedContent() = default;
  //! A record holding `object` and `expires` as given (nothing is copied).
  static std::shared_ptr<OVNCachedContent> cachedContentWithObject(OVNValue object, std::optional<OVNDate> expires);

  //! The cached value; missing when none.
  const OVNValue& object() const { return object_; }
  void setObject(OVNValue object) { object_ = std::move(object); }
  std::optional<OVNDate> expires() const override { return expires_; }
  void setExpires(std::optional<OVNDate> expires) override { expires_ = expires; }

  bool isEqual(const OVNObject& other) const override;
  std::size_t hash() const override;
  //! A new record of the same class sharing this one's value and expiry (a shallow copy).
  bool supportsCopying() const override { return true; }
  OVNObjectRef copy() const override;

  bool supportsKeyedCoding() const override { return true; }
  void encodeWithCoder(OVNCoder& coder) const override;
  //! Reads "object" first, then "expires"; a missing key (or an "expires" that is not a
  //! date) reads as absent.
  bool initWithCoder(OVNCoder& coder) override;

 private:
  OVNValue object_;
  std::optional<OVNDate> expires_;
};

using OVNCachedContentRef = std::shared_ptr<OVNCachedContent>;
