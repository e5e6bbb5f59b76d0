#pragma once
// OVNPropertyDescriptor: one mapping rule of the property mapper. It says what a value
// found under one source key of a dictionary becomes on a model object (decoding), and what
// a property becomes in a serialized dictionary (encoding), and it carries the validators
// the mapper runs on the value before it creates an object.
//
// Kinds (`type`): Plain property; NestedObject, a nested object or array of objects of
// `propertyClass`; NestedProperty, property `propertyName` of the nested object held in
// `classPropertyName`; Converted through the encoding / decoding callbacks; WholeObject
// callbacks. The mapper ignores kinds above WholeObject. `mode` bits: Encode, Decode.
//
// Threads: configure a descriptor before handing it to a mapper; afterwards any number of
// threads may read it and run its validators and callbacks at once. Mapping tables share
// descriptors by reference; the mapper never copies them.
//
//   auto title = OVNPropertyDescriptor::initWithPropertyName("title");
//   title->isRequired()->lengthRange(2, 10);

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNObject.h"

class OVNRegularExpression;

inline constexpr std::string_view kOVNPropertyMapperErrorDomain = "com.ovrinweather.property-mapper";
//! Exported for compatibility; it holds no value and nothing reads it.
OVN_EXPORT extern const char* const OVNPropertyMapperErrorDescription;
inline constexpr std::int64_t OVNPropertyMapperErrorPropertyNotFound = 60520;
inline constexpr std::int64_t OVNPropertyMapperErrorInvalidMapping = 60530;
inline constexpr std::int64_t OVNPropertyMapperErrorMapperNotFound = 60540;
inline constexpr std::int64_t OVNPropertyMapperErrorValidationFailed = 60550;

//! (value, propertyName) -> an error, or null when the value passes.
using OVNPropertyValidatorBlock =
    std::function<std::shared_ptr<OVNError>(const OVNValue& value, const std::string& propertyName)>;
//! The simple form: value -> passes?
using OVNPropertyValidationBlock = std::function<bool(const OVNValue& value)>;
//! Converted: (value, name) -> converted value. Encoding receives the source key, decoding the
//! property name.
using OVNPropertyEncodingBlock = std::function<OVNValue(const OVNValue& value, const std::string& name)>;
using OVNPropertyDecodingBlock = std::function<OVNValue(const OVNValue& value, const std::string& name)>;
//! WholeObject: the serialized value made from the whole object.
using OVNPropertyEncodingGenerationBlock = std::function<OVNValue(const OVNObjectRef& object)>;
//! WholeObject: applies the dictionary's value to the object itself.
using OVNPropertyDecodingConsumerBlock = std::function<void(const OVNValue& value, const OVNObjectRef& object)>;

class OVN_EXPORT OVNPropertyDescriptor : public OVNObject {
  OVN_CLASS(OVNPropertyDescriptor, OVNObject)

  struct Passkey {};

 public:
  using Ref = std::shared_ptr<OVNPropertyDescriptor>;

  // `type` values.
  static constexpr std::uint64_t Plain = 0;
  static constexpr std::uint64_t NestedObject = 1;
  static constexpr std::uint64_t NestedProperty = 2;
  static constexpr std::uint64_t Converted = 3;
  static constexpr std::uint64_t WholeObject = 4;
  // `mode` bits.
  static constexpr std::uint64_t Encode = 1;
  static constexpr std::uint64_t Decode = 2;
  static constexpr std::uint64_t EncodeDecode = 3;

  explicit OVNPropertyDescriptor(Passkey) {}

  //! Plain construction is refused: throws NSInvalidArgumentException ("unrecognized
  //! selector") and yields no descriptor.
  [[noreturn]] static Ref init();
  //! Plain, both directions (or `mode`).
  static Ref initWithPropertyName(std::string propertyName);
  static Ref initWithPropertyName(std::string propertyName, std::uint64_t mode);
  //! NestedObject, both directions (or `mode`).
  static Ref initWithPropertyName(std::string propertyName, const OVNClass& propertyClass);
  static Ref initWithPropertyName(std::string propertyName, const OVNClass& propertyClass, std::uint64_t mode);
  //! NestedProperty, both directions: `propertyName` of the `propertyClass` object held in
  //! `classPropertyName`.
  static Ref initWithPropertyName(std::string propertyName, std::string classPropertyName,
                                  const OVNClass& propertyClass);
  //! Converted; the mode has Encode when an encoding block is given and Decode when a decoding
  //! block is given.
  static Ref initWithPropertyName(std::string propertyName, OVNPropertyEncodingBlock encodingBlock,
                                  OVNPropertyDecodingBlock decodingBlock);
  //! WholeObject, no property name; mode bits as for Converted.
  static Ref initWithEncodingGenerationBlock(OVNPropertyEncodingGenerationBlock encodingGenerationBlock,
                                             OVNPropertyDecodingConsumerBlock decodingConsumerBlock);

  const std::string& propertyName() const { return propertyName_; }
  void setPropertyName(std::string name) { propertyName_ = std::move(name); }
  //! Null unless set (NestedObject and NestedProperty).
  const OVNClass* propertyClass() const { return propertyClass_; }
  void setPropertyClass(const OVNClass* cls) { propertyClass_ = cls; }
  const std::string& classPropertyName() const { return classPropertyName_; }
  const std::vector<OVNPropertyValidatorBlock>& validationBlocks() const { return validationBlocks_; }
  void setValidationBlocks(std::vector<OVNPropertyValidatorBlock> blocks) { validationBlocks_ = std::move(blocks); }
  const OVNPropertyEncodingBlock& encodingBlock() const { return encodingBlock_; }
  void setEncodingBlock(OVNPropertyEncodingBlock block) { encodingBlock_ = std::move(block); }
  const OVNPropertyDecodingBlock& decodingBlock() const { return decodingBlock_; }
  void setDecodingBlock(OVNPropertyDecodingBlock block) { decodingBlock_ = std::move(block); }
  const OVNPropertyEncodingGenerationBlock& encodingGenerationBlock() const { return encodingGenerationBlock_; }
  const OVNPropertyDecodingConsumerBlock& decodingConsumerBlock() const { return decodingConsumerBlock_; }
  std::uint64_t mode() const { return mode_; }
  void setMode(std::uint64_t mode) { mode_ = mode; }
  std::uint64_t type() const { return type_; }
  void setType(std::uint64_t type) { type_ = type; }

  // Validation.
  //! Appends a validator; validators run in the order added.
  void addValidatorWithBlock(OVNPropertyValidatorBlock block);
  //! Appends a named validator: it fails with "<name> validation failed on <property>"
  //! (code 60550) when the value is missing, the null marker, or refused by `validation`.
  void addValidatorWithName(std::string name, OVNPropertyValidationBlock validation);
  //! Every validator's error, in validator order; empty when the value is valid.
  std::vector<std::shared_ptr<OVNError>> validateValue(const OVNValue& value) const;

  // Ready-made validators. Each adds one named validator and returns this descriptor, so
  // rules chain. Lengths are those of strings (UTF-16 units) and data (bytes); integer
  // values those of numbers and numeric strings. A value without one fails the rule.
  //! Passes any present, non-null value.
  Ref isRequired();
  //! Between the smaller and the larger of `a` and `b`, inclusive.
  Ref lengthRange(std::int64_t a, std::int64_t b);
  //! Passes when `expression` finds NO match in the whole value (a string).
  Ref matchesRegex(std::shared_ptr<const OVNRegularExpression> expression);
  Ref length(std::uint64_t n);
  Ref minLength(std::uint64_t n);
  Ref maxLength(std::uint64_t n);
  //! Passes when the collection (array, set, ordered set, or a dictionary's values)
  //! contains a member equal to the value.
  Ref oneOf(OVNValue collection);
  //! Passes when the value is a string equal to `text`.
  Ref equalTo(std::string text);
  Ref min(std::int64_t n);
  Ref max(std::int64_t n);
  //! Between the smaller and the larger of `a` and `b`, inclusive.
  Ref range(std::int64_t a, std::int64_t b);

  std::string description() const override;

 private:
  Ref selfDescriptor();
  //! A named rule on the value's length / integer value (a value without one fails).
  Ref addLengthRule(std::string name, std::function<bool(std::uint64_t)> accepts);
  Ref addIntegerRule(std::string name, std::function<bool(std::int64_t)> accepts);

  std::string propertyName_;
  const OVNClass* propertyClass_ = nullptr;
  std::string classPropertyName_;
  std::vector<OVNPropertyValidatorBlock> validationBlocks_;
  OVNPropertyEncodingBlock encodingBlock_;
  OVNPropertyDecodingBlock decodingBlock_;
  OVNPropertyEncodingGenerationBlock encodingGenerationBlock_;
  OVNPropertyDecodingConsumerBlock decodingConsumerBlock_;
  std::uint64_t mode_ = 0;
  std::uint64_t type_ = 0;
};

using OVNPropertyDescriptorRef = std::shared_ptr<OVNPropertyDescriptor>;
