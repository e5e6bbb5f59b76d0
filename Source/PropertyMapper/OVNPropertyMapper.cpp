#include "PropertyMapper/OVNPropertyMapper.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>

#include "Logging/OVNLogger.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/OVNStringMap.h"
#include "PropertyMapper/NSDictionary+OVNDeepCopy.h"
#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"
#include "PropertyMapper/OVNDictionaryConvertible.h"
#include "PropertyMapper/OVNPropertyMapperSimpleModelFactory.h"
#include "PropertyMapper/detail/OVNClassSlots.h"
#include "PropertyMapper/detail/OVNMappingCoder.h"
#include "PropertyMapper/detail/OVNMappingTable.h"
#include "PropertyMapper/detail/OVNPropertySlot.h"

OVN_PROPERTIES(OVNPropertyMapper)

namespace {

template <class V>
using NameMap = OVNStringMap<V>;
using ovn::detail::OVNClassSlots;
using ovn::detail::OVNMappingCoder;
using ovn::detail::OVNMappingTable;
using ovn::detail::OVNPropertySlot;

const OVNValue kMissing;

// Missing and the null marker read the same to rules.
const OVNValue& presentOrMissing(const OVNValue* value) { return value && !value->isNull() ? *value : kMissing; }

std::shared_ptr<OVNError> mapperError(std::int64_t code, std::string message) {
  return OVNError::errorWithDomain(kOVNPropertyMapperErrorDomain, code, message);
}

std::string nameOf(const OVNClass* cls) { return cls ? cls->name() : std::string("(null)"); }

}  // namespace

class OVNPropertyMapper::Impl {
 public:
  std::shared_ptr<OVNPropertyMapperModelFactoryProtocol> factory =
      std::make_shared<OVNPropertyMapperSimpleModelFactory>();
  // Unlocked by design: filled before concurrent use.
  NameMap<OVNMappingTable> mappings;
  NameMap<FinalEncoderBlock> encoders;
  NameMap<FinalDecoderBlock> decoders;
  NameMap<std::uint64_t> decoderOptions;

  // Written on first use of each class, possibly from several mapping threads at once.
  mutable std::shared_mutex classSlotsLock;
  mutable NameMap<std::shared_ptr<const OVNClassSlots>> classSlotsByName;

  OVNMappingTable makeTable(OVNDictionaryRef table, const OVNClass* cls) const {
    OVNMappingTable mapping(std::move(table));
    if (cls) mapping.bind(*cls, classSlots(*cls));  // cached for the mapper's life: the slots stay valid
    return mapping;
  }

  const OVNMappingTable* mappingNamed(std::string_view name) const {
    auto found = mappings.find(name);
    return found == mappings.end() ? nullptr : &found->second;
  }

  const OVNClassSlots& classSlots(const OVNClass& cls) const {
    {
      std::shared_lock guard(classSlotsLock);
      auto found = classSlotsByName.find(cls.name());
      if (found != classSlotsByName.end()) return *found->second;
    }
    auto built = OVNClassSlots::build(cls);
    std::unique_lock guard(classSlotsLock);
    // The first thread to finish wins; a table built twice is identical.
    return *classSlotsByName.emplace(cls.name(), std::move(built)).first->second;
  }
};

OVNPropertyMapper::OVNPropertyMapper() : impl_(std::make_unique<Impl>()) {}
OVNPropertyMapper::~OVNPropertyMapper() = default;

std::shared_ptr<OVNPropertyMapper> OVNPropertyMapper::init() { return OVNMake<OVNPropertyMapper>(); }

std::shared_ptr<OVNPropertyMapper> OVNPropertyMapper::initWithModelFactory(
    std::shared_ptr<OVNPropertyMapperModelFactoryProtocol> modelFactory) {
  auto mapper = init();
  mapper->setModelFactory(std::move(modelFactory));
  return mapper;
}

const std::shared_ptr<OVNPropertyMapperModelFactoryProtocol>& OVNPropertyMapper::modelFactory() const {
  return impl_->factory;
}

void OVNPropertyMapper::setModelFactory(std::shared_ptr<OVNPropertyMapperModelFactoryProtocol> modelFactory) {
  impl_->factory = std::move(modelFactory);
}

// ---- registry ------------------------------------------------------------------------------

namespace {
bool refuse(const std::shared_ptr<OVNError>& problem, std::shared_ptr<OVNError>* error) {
  // Logged only when the caller asked for the error: without a slot the failure is silent.
  if (error) {
    *error = problem;
    OVNLogger::log(OVNLogLevelError, "%@", problem->localizedDescription());
  }
  return false;
}
}  // namespace

bool OVNPropertyMapper::addMappings(const OVNDictionaryRef& mappings, const OVNClass& cls,
                                    std::shared_ptr<OVNError>* error) {
  if (auto problem = validateMappings(mappings, cls)) return refuse(problem, error);
  auto& existing = impl_->mappings[cls.name()];
  auto merged = existing.table() ? existing.table()->mutableCopy() : std::make_shared<OVNDictionary>();
  if (mappings) merged->addEntries(*mappings);
  existing = impl_->makeTable(std::move(merged), &cls);
  return true;
}

bool OVNPropertyMapper::setMappings(const OVNDictionaryRef& mappings, const OVNClass& cls,
                                    std::shared_ptr<OVNError>* error) {
  if (auto problem = validateMappings(mappings, cls)) return refuse(problem, error);
  impl_->mappings[cls.name()] =
      impl_->makeTable(mappings ? mappings->mutableCopy() : std::make_shared<OVNDictionary>(), &cls);
  return true;
}

void OVNPropertyMapper::addMappingsFromPropertyMapper(const OVNPropertyMapper& other) {
  if (&other == this) return;
  for (const auto& [name, mapping] : other.impl_->mappings) {
    impl_->mappings[name] =
        impl_->makeTable(mapping.table() ? mapping.table()->mutableCopy() : nullptr, OVNClass::named(name));
  }
  for (const auto& [name, encoder] : other.impl_->encoders) impl_->encoders[name] = encoder;
  for (const auto& [name, decoder] : other.impl_->decoders) impl_->decoders[name] = decoder;
  for (const auto& [name, option] : other.impl_->decoderOptions) impl_->decoderOptions[name] = option;
}

bool OVNPropertyMapper::removeMappingsForClass(const OVNClass& cls) {
  const bool hadTable = impl_->mappings.erase(cls.name()) > 0;
  const bool hadEncoder = impl_->encoders.erase(cls.name()) > 0;
  const bool hadDecoder = impl_->decoders.erase(cls.name()) > 0;
  impl_->decoderOptions.erase(cls.name());
  return hadTable || hadEncoder || hadDecoder;
}

void OVNPropertyMapper::setFinalMappingEncoder(FinalEncoderBlock encoder, const OVNClass& cls) {
  impl_->encoders[cls.name()] = std::move(encoder);
}

void OVNPropertyMapper::setFinalMappingDecoder(FinalDecoderBlock decoder, const OVNClass& cls, std::uint64_t option) {
  impl_->decoders[cls.name()] = std::move(decoder);
  impl_->decoderOptions[cls.name()] = option;
}

OVNDictionaryRef OVNPropertyMapper::mappingsByClass() const {
  auto snapshot = std::make_shared<OVNDictionary>();
  for (const auto& [name, mapping] : impl_->mappings)
    snapshot->set(name, mapping.table() ? mapping.table()->copy() : nullptr);
  return snapshot;
}

OVNDictionaryRef OVNPropertyMapper::mappingsForClass(const OVNClass& cls) const {
  const OVNMappingTable* mapping = impl_->mappingNamed(cls.name());
  return mapping && mapping->table() ? mapping->table()->copy() : nullptr;
}

OVNPropertyMapper::FinalEncoderBlock OVNPropertyMapper::finalMappingEncoderForClass(const OVNClass& cls) const {
  auto found = impl_->encoders.find(cls.name());
  return found == impl_->encoders.end() ? nullptr : found->second;
}

OVNPropertyMapper::FinalDecoderBlock OVNPropertyMapper::finalMappingDecoderForClass(const OVNClass& cls) const {
  auto found = impl_->decoders.find(cls.name());
  return found == impl_->decoders.end() ? nullptr : found->second;
}

std::optional<std::uint64_t> OVNPropertyMapper::finalMappingDecoderOptionForClass(const OVNClass& cls) const {
  auto found = impl_->decoderOptions.find(cls.name());
  if (found == impl_->decoderOptions.end()) return std::nullopt;
  return found->second;
}

OVNDictionaryRef OVNPropertyMapper::cachedPropertiesByClass() const {
  auto snapshot = std::make_shared<OVNDictionary>();
  std::shared_lock guard(impl_->classSlotsLock);
  for (const auto& [name, slots] : impl_->classSlotsByName) snapshot->set(name, slots->properties());
  return snapshot;
}

OVNDictionaryRef OVNPropertyMapper::generateMappingsFromClass(const OVNClass& cls) {
  static const std::vector<std::string_view> mappedTypes = {"NSNumber", "NSString", "NSDate", "NSTimeZone", "c", "d",
                                                            "i",        "f",        "l",      "s",          "I"};
  auto table = std::make_shared<OVNDictionary>();
  for (const OVNProperty& property : cls.properties()) {
    const std::string type = getPropertyType(property);
    if (std::find(mappedTypes.begin(), mappedTypes.end(), type) == mappedTypes.end()) continue;
    table->set(property.name(), OVNPropertyDescriptor::initWithPropertyName(property.name()));
  }
  return table;
}

OVNDictionaryRef OVNPropertyMapper::generateMappingsWithKeys(const std::vector<std::string>& keys) {
  auto table = std::make_shared<OVNDictionary>();
  for (const std::string& key : keys) table->set(key, OVNPropertyDescriptor::initWithPropertyName(key));
  return table;
}

OVNDictionaryRef OVNPropertyMapper::propertiesForClass(const OVNClass& cls) const {
  return impl_->classSlots(cls).properties();
}

// ---- validation ----------------------------------------------------------------------------

std::shared_ptr<OVNError> OVNPropertyMapper::validateMappings(const OVNDictionaryRef& mappings,
                                                              const OVNClass& cls) const {
  if (!mappings) return nullptr;
  const OVNDictionaryRef properties = propertiesForClass(cls);
  for (const auto& [key, value] : *mappings) {
    auto descriptor = value.objectAs<OVNPropertyDescriptor>();
    if (!descriptor) {
      return mapperError(OVNPropertyMapperErrorInvalidMapping,
                         OVNFormat("Property mapper for key [%@] is invalid on class [%@]", key, cls.name()));
    }
    // A nested-property rule needs the holder on the class, yet names its own property in
    // the message. A whole-object rule has no name and is refused.
    const std::string& required = descriptor->type() == OVNPropertyDescriptor::NestedProperty
                                      ? descriptor->classPropertyName()
                                      : descriptor->propertyName();
    if (!properties->contains(required)) {
      return mapperError(
          OVNPropertyMapperErrorPropertyNotFound,
          OVNFormat("Mapper contains a property [%@] not found on class [%@]", descriptor->propertyName(), cls.name()));
    }
  }
  return nullptr;
}

namespace {

// Validation walks prepared entries; nested tables are the registered ones.
class Validator {
 public:
  explicit Validator(const OVNPropertyMapper::Impl& impl) : impl_(impl) {}

  void validate(const std::vector<OVNMappingTable::Entry>& entries, const OVNValue& values,
                OVNPropertyMapper::Errors& errors) {
    if (auto dictionary = values.dictionary())
      validateDictionary(entries, *dictionary, errors);
    else if (auto array = values.array())
      validateArray(entries, *array, errors);
  }

  void validateArray(const std::vector<OVNMappingTable::Entry>& entries, const OVNArray& values,
                     OVNPropertyMapper::Errors& errors) {
    for (const OVNValue& element : values) {
      if (element.isArray() || element.isDictionary()) validate(entries, element, errors);
    }
  }

  void validateDictionary(const std::vector<OVNMappingTable::Entry>& entries, const OVNDictionary& values,
                          OVNPropertyMapper::Errors& errors) {
    for (const OVNMappingTable::Entry& entry : entries) {
      const OVNPropertyDescriptor& descriptor = *entry.descriptor;
      if (descriptor.type() != OVNPropertyDescriptor::NestedObject) {
        if (descriptor.validationBlocks().empty()) continue;
        OVNValue scratch;
        for (auto& error : descriptor.validateValue(presentOrMissing(entry.valueIn(values, scratch))))
          errors.push_back(error);
        continue;
      }
      const OVNClass* nestedClass = descriptor.propertyClass();
      const OVNMappingTable* nested = nestedClass ? impl_.mappingNamed(nestedClass->name()) : nullptr;
      if (!nested) {
        errors.push_back(mapperError(OVNPropertyMapperErrorMapperNotFound,
                                     OVNFormat("Mapper for class [%@] not found", nameOf(nestedClass))));
        continue;
      }
      OVNValue scratch;
      validate(nested->entries(), presentOrMissing(entry.valueIn(values, scratch)), errors);
    }
  }

 private:
  const OVNPropertyMapper::Impl& impl_;
};

}  // namespace

OVNPropertyMapper::Errors OVNPropertyMapper::validateMapping(const OVNDictionaryRef& mapping,
                                                             const OVNValue& values) const {
  Errors errors;
  Validator(*impl_).validate(OVNMappingTable(mapping).entries(), values, errors);
  return errors;
}

OVNPropertyMapper::Errors OVNPropertyMapper::validateMappingWithValuesArray(const OVNDictionaryRef& mapping,
                                                                            const OVNArrayRef& values) const {
  Errors errors;
  if (values) Validator(*impl_).validateArray(OVNMappingTable(mapping).entries(), *values, errors);
  return errors;
}

OVNPropertyMapper::Errors OVNPropertyMapper::validateMappingWithValuesDictionary(const OVNDictionaryRef& mapping,
                                                                                 const OVNDictionaryRef& values) const {
  Errors errors;
  if (values) Validator(*impl_).validateDictionary(OVNMappingTable(mapping).entries(), *values, errors);
  return errors;
}

// ---- create and update -------------------------------------------------------------------

OVNObjectRef OVNPropertyMapper::createObjectWithClass(const OVNClass& cls, const OVNValue& dictionary, Errors* errors) {
  Errors problems;
  if (const OVNMappingTable* mapping = impl_->mappingNamed(cls.name())) {
    Validator(*impl_).validate(mapping->entries(), dictionary, problems);
  } else {
    problems.push_back(
        mapperError(OVNPropertyMapperErrorMapperNotFound, OVNFormat("Mapper for class [%@] not found", cls.name())));
  }
  if (problems.empty()) return _createObjectWithClass(cls, dictionary);
  if (errors) *errors = std::move(problems);
  return nullptr;
}

OVNObjectRef OVNPropertyMapper::_createObjectWithClass(const OVNClass& cls, const OVNValue& dictionary) {
  OVNObjectRef instance = impl_->factory ? impl_->factory->instanceForClass(cls, dictionary) : nullptr;
  if (instance && dictionary.isPresent()) updateObjectInstance(instance, dictionary);
  return instance;
}

void OVNPropertyMapper::updateObjectInstance(const OVNObjectRef& object, const OVNValue& source) {
  if (object) updateObjectInstance(object, source, object->className());
}

namespace {

OVNDictionaryRef sourceDictionary(const OVNValue& source) {
  if (auto dictionary = source.dictionary()) return dictionary;
  if (auto object = source.object()) {
    if (auto convertible = dynamic_cast<const OVNDictionaryConvertible*>(object.get()))
      return convertible->toDictionary();
  }
  return nullptr;
}

// The class's final decoder, given the whole source (FinalDecoderWholeDictionary) or the
// unmapped remainder (FinalDecoderUnmappedRemainder); other options never call it. A source that is not a dictionary
// has nothing to hand over.
void applyFinalDecoder(const OVNPropertyMapper::Impl& impl, const OVNObjectRef& object,
                       const OVNDictionaryRef& dictionary, std::string_view mappingKey,
                       const OVNMappingTable* mapping) {
  auto decoder = impl.decoders.find(mappingKey);
  if (decoder == impl.decoders.end() || !decoder->second || !dictionary) return;
  auto option = impl.decoderOptions.find(mappingKey);
  const std::uint64_t chosen =
      option == impl.decoderOptions.end() ? OVNPropertyMapper::FinalDecoderWholeDictionary : option->second;
  if (chosen == OVNPropertyMapper::FinalDecoderWholeDictionary) {
    decoder->second(dictionary, object);
  } else if (chosen == OVNPropertyMapper::FinalDecoderUnmappedRemainder) {
    // Without a table nothing is mapped: the remainder is all of the source.
    OVNDictionaryRef remainder = mapping ? mapping->unmappedRemainder(dictionary) : ovn_mutableDeepCopy(dictionary);
    decoder->second(ovn_deepCopy(remainder), object);
  }
}

}  // namespace

void OVNPropertyMapper::updateObjectInstance(const OVNObjectRef& object, const OVNValue& source,
                                             std::string_view mappingKey) {
  if (!object) return;
  const OVNMappingTable* mapping = impl_->mappingNamed(mappingKey);
  const OVNDictionaryRef dictionary = sourceDictionary(source);
  if (mapping && dictionary && !dictionary->empty()) {
    // Objects of the class the table was registered for use the slots resolved then.
    const OVNClass& cls = object->objectClass();
    const OVNClassSlots* slots = mapping->boundClass() == &cls ? nullptr : &impl_->classSlots(cls);
    OVNMappingCoder::decode(*this, *mapping, slots, object, dictionary);
  }
  applyFinalDecoder(*impl_, object, dictionary, mappingKey, mapping);
}

OVNObjectRef OVNPropertyMapper::classPropertyForInstance(const OVNObjectRef& object, std::string_view propertyName,
                                                         const OVNClass* propertyClass) {
  if (!object) return nullptr;
  const OVNValue current = getSafeValueForKey(propertyName, *object);
  if (current.isPresent() && !current.isNull()) return current.object();
  if (!propertyClass) return nullptr;
  OVNObjectRef created = _createObjectWithClass(*propertyClass, OVNValue());
  if (created) setSafeValue(created, propertyName, *object);
  return created;
}

// ---- property access -----------------------------------------------------------------------

OVNValue OVNPropertyMapper::getSafeValueForKey(std::string_view propertyName, const OVNObject& object) const {
  const OVNPropertySlot* slot = impl_->classSlots(object.objectClass()).slot(propertyName);
  return slot ? slot->read(object) : OVNValue();
}

void OVNPropertyMapper::setSafeValue(const OVNValue& value, std::string_view propertyName, OVNObject& object) const {
  OVNPropertySlot::assign(impl_->classSlots(object.objectClass()).slot(propertyName), propertyName, object, value);
}

// ---- serialize -----------------------------------------------------------------------------

OVNValue OVNPropertyMapper::serializeObject(const OVNValue& value, std::uint64_t options) {
  if (value.isNull() || value.isMissing()) return value;
  auto result = std::make_shared<OVNDictionary>();
  const OVNObjectRef object = value.object();
  if (const OVNMappingTable* mapping = impl_->mappingNamed(value.className()))
    OVNMappingCoder::encode(*this, *mapping, object, options, *result);
  auto encoder = impl_->encoders.find(value.className());
  if (encoder != impl_->encoders.end() && encoder->second) {
    OVNDictionaryRef copy = ovn_mutableDeepCopy(result);
    encoder->second(copy, object);
    result = std::move(copy);
  }
  return result;
}
