#include "PropertyMapper/OVNPropertyDescriptor.h"

#include <algorithm>
#include <optional>

#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Text/OVNRegularExpression.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"

const char* const OVNPropertyMapperErrorDescription = nullptr;

OVN_PROPERTIES(OVNPropertyDescriptor)

namespace {

// A value's length as the rules read it: strings in UTF-16 units, data in bytes. Missing
// and null count as 0 (as a message to nothing would give); other kinds have none.
std::optional<std::uint64_t> lengthOf(const OVNValue& value) {
  if (value.isMissing() || value.isNull()) return 0;
  if (const std::string* text = value.string()) return OVNString::length(*text);
  if (auto data = value.data()) return data->length();
  return std::nullopt;
}

// A value's integer value: numbers and numeric strings; missing and null count as 0.
std::optional<std::int64_t> integerOf(const OVNValue& value) {
  if (value.isMissing() || value.isNull()) return 0;
  return value.longLongValue();
}

bool collectionContains(const OVNValue& collection, const OVNValue& value) {
  if (auto array = collection.array()) return array->containsObject(value);
  if (auto set = collection.set()) return set->contains(value);
  if (auto ordered = collection.orderedSet()) return ordered->contains(value);
  if (auto dictionary = collection.dictionary()) {
    return std::any_of(dictionary->begin(), dictionary->end(),
                       [&](const auto& entry) { return entry.second.isEqual(value); });
  }
  return false;
}

}  // namespace

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::init() {
  OVNException::raise(OVNInvalidArgumentException,
                      "-[OVNPropertyDescriptor init]: unrecognized selector sent to instance");
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::initWithPropertyName(std::string propertyName) {
  return initWithPropertyName(std::move(propertyName), EncodeDecode);
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::initWithPropertyName(std::string propertyName, std::uint64_t mode) {
  auto descriptor = OVNMake<OVNPropertyDescriptor>(Passkey{});
  descriptor->propertyName_ = std::move(propertyName);
  descriptor->mode_ = mode;
  descriptor->type_ = Plain;
  return descriptor;
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::initWithPropertyName(std::string propertyName,
                                                                       const OVNClass& propertyClass) {
  return initWithPropertyName(std::move(propertyName), propertyClass, EncodeDecode);
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::initWithPropertyName(std::string propertyName,
                                                                       const OVNClass& propertyClass,
                                                                       std::uint64_t mode) {
  auto descriptor = OVNMake<OVNPropertyDescriptor>(Passkey{});
  descriptor->propertyName_ = std::move(propertyName);
  descriptor->propertyClass_ = &propertyClass;
  descriptor->mode_ = mode;
  descriptor->type_ = NestedObject;
  return descriptor;
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::initWithPropertyName(std::string propertyName,
                                                                       std::string classPropertyName,
                                                                       const OVNClass& propertyClass) {
  auto descriptor = OVNMake<OVNPropertyDescriptor>(Passkey{});
  descriptor->propertyName_ = std::move(propertyName);
  descriptor->classPropertyName_ = std::move(classPropertyName);
  descriptor->propertyClass_ = &propertyClass;
  descriptor->mode_ = EncodeDecode;
  descriptor->type_ = NestedProperty;
  return descriptor;
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::initWithPropertyName(std::string propertyName,
                                                                       OVNPropertyEncodingBlock encodingBlock,
                                                                       OVNPropertyDecodingBlock decodingBlock) {
  auto descriptor = OVNMake<OVNPropertyDescriptor>(Passkey{});
  descriptor->propertyName_ = std::move(propertyName);
  descriptor->mode_ = (encodingBlock ? Encode : 0) | (decodingBlock ? Decode : 0);
  descriptor->encodingBlock_ = std::move(encodingBlock);
  descriptor->decodingBlock_ = std::move(decodingBlock);
  descriptor->type_ = Converted;
  return descriptor;
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::initWithEncodingGenerationBlock(
    OVNPropertyEncodingGenerationBlock encodingGenerationBlock,
    OVNPropertyDecodingConsumerBlock decodingConsumerBlock) {
  auto descriptor = OVNMake<OVNPropertyDescriptor>(Passkey{});
  descriptor->mode_ = (encodingGenerationBlock ? Encode : 0) | (decodingConsumerBlock ? Decode : 0);
  descriptor->encodingGenerationBlock_ = std::move(encodingGenerationBlock);
  descriptor->decodingConsumerBlock_ = std::move(decodingConsumerBlock);
  descriptor->type_ = WholeObject;
  return descriptor;
}

void OVNPropertyDescriptor::addValidatorWithBlock(OVNPropertyValidatorBlock block) {
  validationBlocks_.push_back(std::move(block));
}

void OVNPropertyDescriptor::addValidatorWithName(std::string name, OVNPropertyValidationBlock validation) {
  addValidatorWithBlock([name = std::move(name), validation = std::move(validation)](
                            const OVNValue& value, const std::string& propertyName) -> std::shared_ptr<OVNError> {
    // The rule runs even on nothing; missing and null fail whatever it says.
    const bool passed = validation ? validation(value) : false;
    if (passed && !value.isMissing() && !value.isNull()) return nullptr;
    return OVNError::errorWithDomain(kOVNPropertyMapperErrorDomain, OVNPropertyMapperErrorValidationFailed,
                                     OVNFormat("%@ validation failed on %@", name, propertyName));
  });
}

std::vector<std::shared_ptr<OVNError>> OVNPropertyDescriptor::validateValue(const OVNValue& value) const {
  std::vector<std::shared_ptr<OVNError>> errors;
  for (const auto& validator : validationBlocks_) {
    if (!validator) continue;
    if (auto error = validator(value, propertyName_)) errors.push_back(std::move(error));
  }
  return errors;
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::selfDescriptor() {
  return std::static_pointer_cast<OVNPropertyDescriptor>(self());
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::isRequired() {
  addValidatorWithName("isRequired", [](const OVNValue&) { return true; });
  return selfDescriptor();
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::addLengthRule(std::string name,
                                                                std::function<bool(std::uint64_t)> accepts) {
  addValidatorWithName(std::move(name), [accepts = std::move(accepts)](const OVNValue& value) {
    auto n = lengthOf(value);
    return n && accepts(*n);
  });
  return selfDescriptor();
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::addIntegerRule(std::string name,
                                                                 std::function<bool(std::int64_t)> accepts) {
  addValidatorWithName(std::move(name), [accepts = std::move(accepts)](const OVNValue& value) {
    auto n = integerOf(value);
    return n && accepts(*n);
  });
  return selfDescriptor();
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::lengthRange(std::int64_t a, std::int64_t b) {
  const std::int64_t lower = std::min(a, b);
  const std::int64_t upper = std::max(a, b);
  return addLengthRule("lengthRange", [lower, upper](std::uint64_t n) {
    return static_cast<std::int64_t>(n) >= lower && static_cast<std::int64_t>(n) <= upper;
  });
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::matchesRegex(std::shared_ptr<const OVNRegularExpression> expression) {
  // Passing means "no match": the rule's name reads the other way round, and is kept so.
  addValidatorWithName("matchesRegex", [expression = std::move(expression)](const OVNValue& value) {
    const std::string* text = value.string();
    if (!text) return value.isMissing();  // nothing has no matches; other kinds have no text
    return expression && expression->numberOfMatchesInString(*text) == 0;
  });
  return selfDescriptor();
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::length(std::uint64_t n) {
  return addLengthRule("length", [n](std::uint64_t actual) { return actual == n; });
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::minLength(std::uint64_t n) {
  return addLengthRule("minLength", [n](std::uint64_t actual) { return actual >= n; });
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::maxLength(std::uint64_t n) {
  return addLengthRule("maxLength", [n](std::uint64_t actual) { return actual <= n; });
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::oneOf(OVNValue collection) {
  addValidatorWithName("oneOf", [collection = std::move(collection)](const OVNValue& value) {
    return collectionContains(collection, value);
  });
  return selfDescriptor();
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::equalTo(std::string text) {
  addValidatorWithName("equalTo", [text = std::move(text)](const OVNValue& value) {
    const std::string* actual = value.string();
    return actual && *actual == text;
  });
  return selfDescriptor();
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::min(std::int64_t n) {
  return addIntegerRule("min", [n](std::int64_t actual) { return actual >= n; });
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::max(std::int64_t n) {
  return addIntegerRule("max", [n](std::int64_t actual) { return actual <= n; });
}

OVNPropertyDescriptor::Ref OVNPropertyDescriptor::range(std::int64_t a, std::int64_t b) {
  const std::int64_t lower = std::min(a, b);
  const std::int64_t upper = std::max(a, b);
  return addIntegerRule("range", [lower, upper](std::int64_t actual) { return actual >= lower && actual <= upper; });
}

std::string OVNPropertyDescriptor::description() const {
  return OVNFormat(
      "<OVNPropertyDescriptor: type=%llu, mode=%llu, propertyName=%@, classPropertyName=%@, "
      "propertyClass=%@, validators=%lu>",
      static_cast<unsigned long long>(type_), static_cast<unsigned long long>(mode_), propertyName_, classPropertyName_,
      propertyClass_ ? propertyClass_->name() : std::string("(null)"),
      static_cast<unsigned long>(validationBlocks_.size()));
}
