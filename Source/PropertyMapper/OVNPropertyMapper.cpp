#include "PropertyMapper/OVNPropertyMapper.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "Logging/OVNLogger.h"
#include "Platform/OVNArray.h"
#include "Platform/OVNClass.h"
#include "Platform/OVNConsoleLog.h"
#include "Platform/OVNException.h"
#include "Platform/OVNFormat.h"
#include "Platform/OVNOrderedSet.h"
#include "Platform/OVNSet.h"
#include "PropertyMapper/NSDictionary+OVNDeepCopy.h"
#include "PropertyMapper/NSMutableDictionary+OVNSafeValue.h"
#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"
#include "PropertyMapper/OVNDictionaryConvertible.h"
#include "PropertyMapper/OVNPropertyMapperSimpleModelFactory.h"

OVN_PROPERTIES(OVNPropertyMapper)

namespace {

struct TransparentHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view s) const { return std::hash<std::string_view>()(s); }
};
template <class V>
using NameMap = std::unordered_map<std::string, V, TransparentHash, std::equal_to<>>;

// One entry of a mapping table, prepared once when the table is registered.
struct MappingEntry {
  std::string key;
  std::vector<std::string> components;  // the key split at its dots
  OVNPropertyDescriptorRef descriptor;
  bool wholeSource = false;  // a nested object built from the source itself ("*", "^...")
};

// A registered table: the dictionary as given (a copy) and its entries in table order.
struct ClassMapping {
  OVNDictionaryRef table;
  std::vector<MappingEntry> entries;
};

// How an array is stored into a property of a given type.
enum class ArrayStorage { AsIs, Set, OrderedSet, Refused };

// What setting and reading a property of one class needs, resolved once per class.
struct PropertySlot {
  std::string typeString;
  const OVNProperty* property = nullptr;  // the declaration key-value coding reaches
  ArrayStorage arrayStorage = ArrayStorage::Refused;
  bool clearedByNil = false;  // the type names a known class
};

struct ClassInfo {
  OVNDictionaryRef properties;  // name -> type string, immutable
  NameMap<PropertySlot> slots;
};

std::vector<std::string> splitKeyPath(std::string_view key) {
  std::vector<std::string> components;
  std::size_t start = 0;
  while (true) {
    const std::size_t dot = key.find('.', start);
    components.emplace_back(key.substr(start, dot == std::string_view::npos ? std::string_view::npos : dot - start));
    if (dot == std::string_view::npos) break;
    start = dot + 1;
  }
  return components;
}

bool isWholeSourceKey(std::string_view key) { return key == "*" || (!key.empty() && key.front() == '^'); }

// The table's entries in its (sorted, hence stable) order; values that are not descriptors
// are left out (registration refuses them; ad-hoc tables given to validation skip them).
std::vector<MappingEntry> prepareEntries(const OVNDictionaryRef& table) {
  std::vector<MappingEntry> entries;
  if (!table) return entries;
  entries.reserve(table->count());
  for (const auto& [key, value] : *table) {
    auto descriptor = value.objectAs<OVNPropertyDescriptor>();
    if (!descriptor) continue;
    MappingEntry entry;
    entry.key = key;
    entry.components = splitKeyPath(key);
    entry.wholeSource = descriptor->type() == OVNPropertyDescriptor::NestedObject && isWholeSourceKey(key);
    entry.descriptor = std::move(descriptor);
    entries.push_back(std::move(entry));
  }
  return entries;
}

ClassMapping makeClassMapping(OVNDictionaryRef table) {
  ClassMapping mapping;
  mapping.entries = prepareEntries(table);
  mapping.table = std::move(table);
  return mapping;
}

// The value at a key path of a source dictionary; levels are dictionaries (an array level
// collects its members' values, as key-value coding does). Missing when a level is absent.
OVNValue valueAtPath(const OVNDictionary& source, const MappingEntry& entry) {
  const OVNDictionary* level = &source;
  for (std::size_t i = 0; i < entry.components.size(); ++i) {
    auto found = level->entries().find(entry.components[i]);
    if (found == level->entries().end()) return {};
    const OVNValue& value = found->second;
    if (i + 1 == entry.components.size()) return value;
    if (auto nested = value.dictionary()) {
      level = nested.get();
      continue;
    }
    if (value.isArray()) {
      std::string rest;
      for (std::size_t j = i + 1; j < entry.components.size(); ++j) {
        if (!rest.empty()) rest += '.';
        rest += entry.components[j];
      }
      return value.valueForKeyPath(rest);
    }
    return {};
  }
  return {};
}

OVNValue withoutNull(OVNValue value) { return value.isNull() ? OVNValue() : value; }

std::shared_ptr<OVNError> mapperError(std::int64_t code, std::string message) {
  return OVNError::errorWithDomain(kOVNPropertyMapperErrorDomain, code, message);
}

std::string nameOf(const OVNClass* cls) { return cls ? cls->name() : std::string("(null)"); }

}  // namespace

class OVNPropertyMapper::Impl {
 public:
  std::shared_ptr<OVNPropertyMapperModelFactoryProtocol> factory = std::make_shared<OVNPropertyMapperSimpleModelFactory>();
  // Unlocked by design: filled before concurrent use.
  NameMap<ClassMapping> mappings;
  NameMap<FinalEncoderBlock> encoders;
  NameMap<FinalDecoderBlock> decoders;
  NameMap<std::uint64_t> decoderOptions;

  // Written on first use of each class, possibly from several mapping threads at once.
  mutable std::shared_mutex classInfoLock;
  mutable NameMap<std::shared_ptr<const ClassInfo>> classInfos;

  const ClassMapping* mappingNamed(std::string_view name) const {
    auto found = mappings.find(name);
    return found == mappings.end() ? nullptr : &found->second;
  }

  const ClassInfo& classInfo(const OVNClass& cls) const {
    {
      std::shared_lock guard(classInfoLock);
      auto found = classInfos.find(cls.name());
      if (found != classInfos.end()) return *found->second;
    }
    auto built = buildClassInfo(cls);
    std::unique_lock guard(classInfoLock);
    // The first thread to finish wins; a table built twice is identical.
    return *classInfos.emplace(cls.name(), std::move(built)).first->second;
  }

  static std::shared_ptr<const ClassInfo> buildClassInfo(const OVNClass& cls) {
    auto info = std::make_shared<ClassInfo>();
    auto table = std::make_shared<OVNDictionary>();
    // The class first, then each ancestor over it: an ancestor's type string wins.
    for (const OVNClass* level = &cls; level; level = level->superclass()) {
      for (const OVNProperty& property : level->properties()) table->set(property.name(), getPropertyType(property));
    }
    for (const auto& [name, type] : *table) {
      PropertySlot slot;
      slot.typeString = *type.string();
      slot.property = cls.property(name);
      const std::string& t = slot.typeString;
      if (t == "NSArray" || t == "NSMutableArray") slot.arrayStorage = ArrayStorage::AsIs;
      else if (t == "NSSet" || t == "NSMutableSet") slot.arrayStorage = ArrayStorage::Set;
      else if (t == "NSOrderedSet" || t == "NSMutableOrderedSet") slot.arrayStorage = ArrayStorage::OrderedSet;
      slot.clearedByNil = OVNClass::named(t) != nullptr;
      info->slots.emplace(name, std::move(slot));
    }
    info->properties = table->copy();
    return info;
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
    OVNLogger::log(4, "%@", problem->localizedDescription());
  }
  return false;
}
}  // namespace

bool OVNPropertyMapper::addMappings(const OVNDictionaryRef& mappings, const OVNClass& cls,
                                    std::shared_ptr<OVNError>* error) {
  if (auto problem = validateMappings(mappings, cls)) return refuse(problem, error);
  auto& existing = impl_->mappings[cls.name()];
  auto merged = existing.table ? existing.table->mutableCopy() : std::make_shared<OVNDictionary>();
  if (mappings) merged->addEntries(*mappings);
  existing = makeClassMapping(std::move(merged));
  return true;
}

bool OVNPropertyMapper::setMappings(const OVNDictionaryRef& mappings, const OVNClass& cls,
                                    std::shared_ptr<OVNError>* error) {
  if (auto problem = validateMappings(mappings, cls)) return refuse(problem, error);
  impl_->mappings[cls.name()] = makeClassMapping(mappings ? mappings->mutableCopy() : std::make_shared<OVNDictionary>());
  return true;
}

void OVNPropertyMapper::addMappingsFromPropertyMapper(const OVNPropertyMapper& other) {
  if (&other == this) return;
  for (const auto& [name, mapping] : other.impl_->mappings) {
    impl_->mappings[name] = makeClassMapping(mapping.table ? mapping.table->mutableCopy() : nullptr);
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
  for (const auto& [name, mapping] : impl_->mappings) snapshot->set(name, mapping.table ? mapping.table->copy() : nullptr);
  return snapshot;
}

OVNDictionaryRef OVNPropertyMapper::mappingsForClass(const OVNClass& cls) const {
  const ClassMapping* mapping = impl_->mappingNamed(cls.name());
  return mapping && mapping->table ? mapping->table->copy() : nullptr;
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
  std::shared_lock guard(impl_->classInfoLock);
  for (const auto& [name, info] : impl_->classInfos) snapshot->set(name, info->properties);
  return snapshot;
}

OVNDictionaryRef OVNPropertyMapper::generateMappingsFromClass(const OVNClass& cls) {
  static const std::vector<std::string_view> mappedTypes = {"NSNumber", "NSString", "NSDate", "NSTimeZone",
                                                            "c", "d", "i", "f", "l", "s", "I"};
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
  return impl_->classInfo(cls).properties;
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
      return mapperError(OVNPropertyMapperErrorPropertyNotFound,
                         OVNFormat("Mapper contains a property [%@] not found on class [%@]",
                                   descriptor->propertyName(), cls.name()));
    }
  }
  return nullptr;
}

namespace {

// Validation walks prepared entries; nested tables are the registered ones.
class Validator {
 public:
  explicit Validator(const OVNPropertyMapper::Impl& impl) : impl_(impl) {}

  void validate(const std::vector<MappingEntry>& entries, const OVNValue& values, OVNPropertyMapper::Errors& errors) {
    if (auto dictionary = values.dictionary()) validateDictionary(entries, *dictionary, errors);
    else if (auto array = values.array()) validateArray(entries, *array, errors);
  }

  void validateArray(const std::vector<MappingEntry>& entries, const OVNArray& values, OVNPropertyMapper::Errors& errors) {
    for (const OVNValue& element : values) {
      if (element.isArray() || element.isDictionary()) validate(entries, element, errors);
    }
  }

  void validateDictionary(const std::vector<MappingEntry>& entries, const OVNDictionary& values,
                          OVNPropertyMapper::Errors& errors) {
    for (const MappingEntry& entry : entries) {
      const OVNPropertyDescriptor& descriptor = *entry.descriptor;
      if (descriptor.type() != OVNPropertyDescriptor::NestedObject) {
        if (descriptor.validationBlocks().empty()) continue;
        for (auto& error : descriptor.validateValue(withoutNull(valueAtPath(values, entry)))) errors.push_back(error);
        continue;
      }
      const OVNClass* nestedClass = descriptor.propertyClass();
      const ClassMapping* nested = nestedClass ? impl_.mappingNamed(nestedClass->name()) : nullptr;
      if (!nested) {
        errors.push_back(mapperError(OVNPropertyMapperErrorMapperNotFound,
                                     OVNFormat("Mapper for class [%@] not found", nameOf(nestedClass))));
        continue;
      }
      validate(nested->entries, withoutNull(valueAtPath(values, entry)), errors);
    }
  }

 private:
  const OVNPropertyMapper::Impl& impl_;
};

}  // namespace

OVNPropertyMapper::Errors OVNPropertyMapper::validateMapping(const OVNDictionaryRef& mapping,
                                                             const OVNValue& values) const {
  Errors errors;
  Validator(*impl_).validate(prepareEntries(mapping), values, errors);
  return errors;
}

OVNPropertyMapper::Errors OVNPropertyMapper::validateMappingWithValuesArray(const OVNDictionaryRef& mapping,
                                                                           const OVNArrayRef& values) const {
  Errors errors;
  if (values) Validator(*impl_).validateArray(prepareEntries(mapping), *values, errors);
  return errors;
}

OVNPropertyMapper::Errors OVNPropertyMapper::validateMappingWithValuesDictionary(const OVNDictionaryRef& mapping,
                                                                                const OVNDictionaryRef& values) const {
  Errors errors;
  if (values) Validator(*impl_).validateDictionary(prepareEntries(mapping), *values, errors);
  return errors;
}

// ---- create and update -------------------------------------------------------------------

OVNObjectRef OVNPropertyMapper::createObjectWithClass(const OVNClass& cls, const OVNValue& dictionary,
                                                      Errors* errors) {
  Errors problems;
  if (const ClassMapping* mapping = impl_->mappingNamed(cls.name())) {
    Validator(*impl_).validate(mapping->entries, dictionary, problems);
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
    if (auto convertible = dynamic_cast<const OVNDictionaryConvertible*>(object.get())) return convertible->toDictionary();
  }
  return nullptr;
}

// The source with every mapped key taken out: top-level keys, and for dotted keys the last
// component inside its parent dictionary.
OVNDictionaryRef unmappedRemainder(const OVNDictionaryRef& source, const std::vector<MappingEntry>* entries) {
  OVNDictionaryRef remainder = ovn_mutableDeepCopy(source);
  if (!remainder || !entries) return remainder;
  for (const MappingEntry& entry : *entries) {
    remainder->remove(entry.key);
    const auto lastDot = entry.key.rfind('.');
    if (lastDot == std::string::npos) continue;
    const OVNValue parent = remainder->valueForKeyPath(std::string_view(entry.key).substr(0, lastDot));
    if (auto parentDictionary = parent.dictionary(); parentDictionary && parentDictionary->isMutable()) {
      parentDictionary->remove(std::string_view(entry.key).substr(lastDot + 1));
    }
  }
  return remainder;
}

// The class's final decoder, given the whole source (option 0) or the unmapped remainder
// (option 1); other options never call it. A source that is not a dictionary has nothing
// to hand over.
void applyFinalDecoder(const OVNPropertyMapper::Impl& impl, const OVNObjectRef& object,
                       const OVNDictionaryRef& dictionary, std::string_view mappingKey, const ClassMapping* mapping) {
  auto decoder = impl.decoders.find(mappingKey);
  if (decoder == impl.decoders.end() || !decoder->second || !dictionary) return;
  auto option = impl.decoderOptions.find(mappingKey);
  const std::uint64_t chosen = option == impl.decoderOptions.end() ? 0 : option->second;
  if (chosen == OVNPropertyMapper::FinalDecoderWholeDictionary) {
    decoder->second(dictionary, object);
  } else if (chosen == OVNPropertyMapper::FinalDecoderUnmappedRemainder) {
    decoder->second(ovn_deepCopy(unmappedRemainder(dictionary, mapping ? &mapping->entries : nullptr)), object);
  }
}

}  // namespace

void OVNPropertyMapper::updateObjectInstance(const OVNObjectRef& object, const OVNValue& source,
                                             std::string_view mappingKey) {
  if (!object) return;
  const ClassMapping* mapping = impl_->mappingNamed(mappingKey);
  const OVNDictionaryRef dictionary = sourceDictionary(source);
  if (mapping && dictionary && !dictionary->empty()) {
    for (const MappingEntry& entry : mapping->entries) {
      const OVNPropertyDescriptor& descriptor = *entry.descriptor;
      if (!(descriptor.mode() & OVNPropertyDescriptor::Decode) || descriptor.type() > OVNPropertyDescriptor::WholeObject)
        continue;
      const OVNValue value = entry.wholeSource ? OVNValue(dictionary) : valueAtPath(*dictionary, entry);
      if (value.isMissing() || value.isNull()) continue;
      switch (descriptor.type()) {
        case OVNPropertyDescriptor::Plain:
          setSafeValue(value, descriptor.propertyName(), *object);
          break;
        case OVNPropertyDescriptor::NestedObject:
          if (value.isDictionary()) {
            if (auto nested = classPropertyForInstance(object, descriptor.propertyName(), descriptor.propertyClass()))
              updateObjectInstance(nested, value, nested->className());
          } else if (auto array = value.array()) {
            std::vector<OVNValue> results;
            results.reserve(array->count());
            for (const OVNValue& element : *array) {
              // Elements that are not dictionaries are skipped like elements the factory
              // cannot make, with the same line.
              OVNObjectRef created = element.isDictionary() && descriptor.propertyClass()
                                         ? _createObjectWithClass(*descriptor.propertyClass(), element)
                                         : nullptr;
              if (!created) {
                OVNConsoleLog::writeFormat("**ERROR** Could not create instance of %@ in array for property %@",
                                           nameOf(descriptor.propertyClass()), entry.key);
                continue;
              }
              results.emplace_back(std::move(created));
            }
            setSafeValue(OVNArray::make(std::move(results), true), descriptor.propertyName(), *object);
          }
          break;
        case OVNPropertyDescriptor::NestedProperty:
          if (auto holder = classPropertyForInstance(object, descriptor.classPropertyName(), descriptor.propertyClass()))
            setSafeValue(value, descriptor.propertyName(), *holder);
          break;
        case OVNPropertyDescriptor::Converted:
          if (descriptor.decodingBlock())
            setSafeValue(descriptor.decodingBlock()(value, descriptor.propertyName()), descriptor.propertyName(), *object);
          break;
        case OVNPropertyDescriptor::WholeObject:
          if (descriptor.decodingConsumerBlock()) descriptor.decodingConsumerBlock()(value, object);
          break;
      }
    }
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
  const ClassInfo& info = impl_->classInfo(object.objectClass());
  auto slot = info.slots.find(propertyName);
  if (slot == info.slots.end() || !slot->second.property) return {};
  return ovn_wrappedValueForKey(object, propertyName);
}

namespace {

OVNValue asSet(const OVNArray& members) {
  auto set = OVNSet::make({}, true);
  for (const OVNValue& member : members) set->add(member);
  return set;
}

OVNValue asOrderedSet(const OVNArray& members) {
  auto ordered = OVNOrderedSet::make({}, true);
  for (const OVNValue& member : members) ordered->add(member);
  return ordered;
}

// Stores through the property; observed objects go through key-value coding so their
// observers hear of the change. A value the member cannot hold is not stored.
void store(OVNObject& object, const PropertySlot* slot, std::string_view name, const OVNValue& value) {
  if (!slot || !slot->property || slot->property->isReadOnly()) {
    OVNLogger::log(1, "OVNPropertyMapper: %@ has no writable property %@", object.className(), name);
    return;
  }
  if (object.hasObservers()) {
    try {
      object.setValue(value, name);
    } catch (const OVNException& e) {
      OVNLogger::log(1, "OVNPropertyMapper: %@ not stored in %@.%@: %@", value.className(), object.className(), name,
                     e.reason());
    }
    return;
  }
  // A missing value for a scalar (Nil) leaves it as it is.
  if (slot->property->set(object, value) == OVNPropertyAccessor::SetResult::Mismatch) {
    OVNLogger::log(1, "OVNPropertyMapper: %@ does not fit %@.%@ (%@)", value.className(), object.className(), name,
                   slot->typeString);
  }
}

}  // namespace

void OVNPropertyMapper::setSafeValue(const OVNValue& value, std::string_view propertyName, OVNObject& object) const {
  const ClassInfo& info = impl_->classInfo(object.objectClass());
  auto found = info.slots.find(propertyName);
  const PropertySlot* slot = found == info.slots.end() ? nullptr : &found->second;
  if (value.isMissing() || value.isNull()) {
    if (slot && slot->clearedByNil) store(object, slot, propertyName, OVNValue());
    return;
  }
  auto array = value.array();
  if (!array) {
    store(object, slot, propertyName, value);
    return;
  }
  switch (slot ? slot->arrayStorage : ArrayStorage::Refused) {
    case ArrayStorage::AsIs: store(object, slot, propertyName, value); break;
    case ArrayStorage::Set: store(object, slot, propertyName, asSet(*array)); break;
    case ArrayStorage::OrderedSet: store(object, slot, propertyName, asOrderedSet(*array)); break;
    case ArrayStorage::Refused: break;
  }
}

// ---- serialize -----------------------------------------------------------------------------

namespace {

// The write target of a key: the literal walk over its leading components (a missing
// component is created as an empty dictionary in the current target, which becomes the
// target; a present one leaves the target where it is).
OVNDictionary* writeTarget(OVNDictionary& result, const MappingEntry& entry) {
  OVNDictionary* target = &result;
  for (std::size_t i = 0; i + 1 < entry.components.size(); ++i) {
    if (target->contains(entry.components[i])) continue;
    auto fresh = std::make_shared<OVNDictionary>();
    target->set(entry.components[i], fresh);
    target = fresh.get();
  }
  return target;
}

}  // namespace

OVNValue OVNPropertyMapper::serializeObject(const OVNValue& value, std::uint64_t options) {
  if (value.isNull() || value.isMissing()) return value;
  auto result = std::make_shared<OVNDictionary>();
  const OVNObjectRef object = value.object();
  const ClassMapping* mapping = impl_->mappingNamed(value.className());
  if (mapping) {
    for (const MappingEntry& entry : mapping->entries) {
      const OVNPropertyDescriptor& descriptor = *entry.descriptor;
      if (!(descriptor.mode() & OVNPropertyDescriptor::Encode)) continue;
      OVNDictionary* target = writeTarget(*result, entry);

      OVNValue property;
      if (object) {
        if (descriptor.type() == OVNPropertyDescriptor::NestedProperty) {
          if (auto holder = getSafeValueForKey(descriptor.classPropertyName(), *object).object())
            property = getSafeValueForKey(descriptor.propertyName(), *holder);
        } else {
          property = getSafeValueForKey(descriptor.propertyName(), *object);
        }
      }
      if (property.isMissing() && options == SerializeMissingAsNull) property = OVNValue::null();

      switch (descriptor.type()) {
        case OVNPropertyDescriptor::Plain:
          ovn_setSafeValue(*target, property, entry.key);
          break;
        case OVNPropertyDescriptor::NestedObject:
          ovn_setSafeValue(*target, serializeNested(property, options), entry.key);
          break;
        case OVNPropertyDescriptor::NestedProperty: {
          OVNDictionaryRef container = target->objectForKey(descriptor.classPropertyName()).dictionary();
          if (!container) {
            if (target->contains(descriptor.classPropertyName())) break;
            container = std::make_shared<OVNDictionary>();
            target->set(descriptor.classPropertyName(), container);
          }
          if (container->isMutable()) ovn_setSafeValue(*container, property, entry.key);
          break;
        }
        case OVNPropertyDescriptor::Converted:
          if (descriptor.encodingBlock()) ovn_setSafeValue(*target, descriptor.encodingBlock()(property, entry.key), entry.key);
          break;
        case OVNPropertyDescriptor::WholeObject:
          if (descriptor.encodingGenerationBlock())
            ovn_setSafeValue(*target, descriptor.encodingGenerationBlock()(object), entry.key);
          break;
        default:
          break;
      }
    }
  }
  auto encoder = impl_->encoders.find(value.className());
  if (encoder != impl_->encoders.end() && encoder->second) {
    OVNDictionaryRef copy = ovn_mutableDeepCopy(result);
    encoder->second(copy, object);
    result = std::move(copy);
  }
  return result;
}

OVNValue OVNPropertyMapper::serializeNested(const OVNValue& value, std::uint64_t options) {
  // Members of collections are serialized with options 0 whatever was asked; only a single
  // nested object inherits the options.
  std::vector<OVNValue> members;
  auto serializeAll = [&](auto begin, auto end) {
    for (auto it = begin; it != end; ++it) {
      OVNValue serialized = serializeObject(*it, SerializeSkipMissing);
      if (serialized.isPresent()) members.push_back(std::move(serialized));
    }
    return OVNValue(OVNArray::make(std::move(members), true));
  };
  if (auto set = value.set()) return serializeAll(set->begin(), set->end());
  if (auto array = value.array()) return serializeAll(array->begin(), array->end());
  if (auto ordered = value.orderedSet()) return serializeAll(ordered->begin(), ordered->end());
  return serializeObject(value, options);
}
