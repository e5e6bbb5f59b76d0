#include "PropertyMapper/OVNPropertyMapper.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "Logging/OVNLogger.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"
#include "Platform/Values/OVNStringMap.h"
#include "PropertyMapper/NSDictionary+OVNDeepCopy.h"
#include "PropertyMapper/NSMutableDictionary+OVNSafeValue.h"
#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"
#include "PropertyMapper/OVNDictionaryConvertible.h"
#include "PropertyMapper/OVNPropertyMapperSimpleModelFactory.h"

OVN_PROPERTIES(OVNPropertyMapper)

namespace {

template <class V>
using NameMap = OVNStringMap<V>;

struct PropertySlot;

// One entry of a mapping table, prepared once when the table is registered.
struct MappingEntry {
  std::string key;
  std::vector<std::string> components;  // the key split at its dots
  // Where each component was last found in its source dictionary. Payloads repeat one
  // shape, so the next dictionary usually holds the key at the same index and the lookup
  // costs one comparison. Shared by mapping threads: a stale hint only costs a search.
  std::unique_ptr<std::atomic<std::uint32_t>[]> hints;
  OVNPropertyDescriptorRef descriptor;
  bool wholeSource = false;  // a nested object built from the source itself ("*", "^...")
  // The descriptor's property on the class the table was registered for (null when that
  // class lacks it), so that mapping objects of exactly that class needs no lookups.
  const PropertySlot* slot = nullptr;
};

// A registered table: the dictionary as given (a copy) and its entries in table order.
struct ClassMapping {
  OVNDictionaryRef table;
  std::vector<MappingEntry> entries;
  const OVNClass* boundClass = nullptr;  // the class the entries' slots belong to
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

  const PropertySlot* slot(std::string_view name) const {
    auto found = slots.find(name);
    return found == slots.end() ? nullptr : &found->second;
  }
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
    entry.hints = std::make_unique<std::atomic<std::uint32_t>[]>(entry.components.size());
    entry.wholeSource = descriptor->type() == OVNPropertyDescriptor::NestedObject && isWholeSourceKey(key);
    entry.descriptor = std::move(descriptor);
    entries.push_back(std::move(entry));
  }
  return entries;
}

// The value at a key path of a source dictionary, or null when a level is absent. Levels are
// dictionaries; an array on the way collects its members' values (as key-value coding
// does) into `scratch`.
const OVNValue* valueAtPath(const OVNDictionary& source, const MappingEntry& entry, OVNValue& scratch) {
  const OVNDictionary* level = &source;
  for (std::size_t i = 0; i < entry.components.size(); ++i) {
    const OVNDictionaryStorage& storage = level->entries();
    const std::uint32_t hint = entry.hints[i].load(std::memory_order_relaxed);
    auto found = storage.begin() + std::min<std::size_t>(hint, storage.size());
    if (found == storage.end() || found->first != entry.components[i]) {
      found = storage.find(entry.components[i]);
      if (found == storage.end()) return nullptr;
      entry.hints[i].store(static_cast<std::uint32_t>(found - storage.begin()), std::memory_order_relaxed);
    }
    const OVNValue& value = found->second;
    if (i + 1 == entry.components.size()) return &value;
    if (const OVNDictionary* nested = value.dictionaryPointer()) {
      level = nested;  // the source outlives the walk
      continue;
    }
    if (value.isArray()) {
      std::string rest;
      for (std::size_t j = i + 1; j < entry.components.size(); ++j) {
        if (!rest.empty()) rest += '.';
        rest += entry.components[j];
      }
      scratch = value.valueForKeyPath(rest);
      return &scratch;
    }
    return nullptr;
  }
  return nullptr;
}

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
  NameMap<ClassMapping> mappings;
  NameMap<FinalEncoderBlock> encoders;
  NameMap<FinalDecoderBlock> decoders;
  NameMap<std::uint64_t> decoderOptions;

  // Written on first use of each class, possibly from several mapping threads at once.
  mutable std::shared_mutex classInfoLock;
  mutable NameMap<std::shared_ptr<const ClassInfo>> classInfos;

  ClassMapping makeClassMapping(OVNDictionaryRef table, const OVNClass* cls) const {
    ClassMapping mapping;
    mapping.entries = prepareEntries(table);
    mapping.table = std::move(table);
    if (cls) {
      const ClassInfo& info = classInfo(*cls);  // cached for the mapper's life: the slots stay valid
      for (MappingEntry& entry : mapping.entries) entry.slot = info.slot(entry.descriptor->propertyName());
      mapping.boundClass = cls;
    }
    return mapping;
  }

  void applyMapping(OVNPropertyMapper& mapper, const ClassMapping& mapping, const OVNObjectRef& object,
                    const OVNDictionaryRef& dictionary) const;

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
      if (t == "NSArray" || t == "NSMutableArray")
        slot.arrayStorage = ArrayStorage::AsIs;
      else if (t == "NSSet" || t == "NSMutableSet")
        slot.arrayStorage = ArrayStorage::Set;
      else if (t == "NSOrderedSet" || t == "NSMutableOrderedSet")
        slot.arrayStorage = ArrayStorage::OrderedSet;
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
    OVNLogger::log(OVNLogLevelError, "%@", problem->localizedDescription());
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
  existing = impl_->makeClassMapping(std::move(merged), &cls);
  return true;
}

bool OVNPropertyMapper::setMappings(const OVNDictionaryRef& mappings, const OVNClass& cls,
                                    std::shared_ptr<OVNError>* error) {
  if (auto problem = validateMappings(mappings, cls)) return refuse(problem, error);
  impl_->mappings[cls.name()] =
      impl_->makeClassMapping(mappings ? mappings->mutableCopy() : std::make_shared<OVNDictionary>(), &cls);
  return true;
}

void OVNPropertyMapper::addMappingsFromPropertyMapper(const OVNPropertyMapper& other) {
  if (&other == this) return;
  for (const auto& [name, mapping] : other.impl_->mappings) {
    impl_->mappings[name] =
        impl_->makeClassMapping(mapping.table ? mapping.table->mutableCopy() : nullptr, OVNClass::named(name));
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
    snapshot->set(name, mapping.table ? mapping.table->copy() : nullptr);
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

  void validate(const std::vector<MappingEntry>& entries, const OVNValue& values, OVNPropertyMapper::Errors& errors) {
    if (auto dictionary = values.dictionary())
      validateDictionary(entries, *dictionary, errors);
    else if (auto array = values.array())
      validateArray(entries, *array, errors);
  }

  void validateArray(const std::vector<MappingEntry>& entries, const OVNArray& values,
                     OVNPropertyMapper::Errors& errors) {
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
        OVNValue scratch;
        for (auto& error : descriptor.validateValue(presentOrMissing(valueAtPath(values, entry, scratch))))
          errors.push_back(error);
        continue;
      }
      const OVNClass* nestedClass = descriptor.propertyClass();
      const ClassMapping* nested = nestedClass ? impl_.mappingNamed(nestedClass->name()) : nullptr;
      if (!nested) {
        errors.push_back(mapperError(OVNPropertyMapperErrorMapperNotFound,
                                     OVNFormat("Mapper for class [%@] not found", nameOf(nestedClass))));
        continue;
      }
      OVNValue scratch;
      validate(nested->entries, presentOrMissing(valueAtPath(values, entry, scratch)), errors);
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

namespace {
void assignSafely(const PropertySlot* slot, std::string_view name, OVNObject& object, const OVNValue& value);
}  // namespace

// ---- create and update -------------------------------------------------------------------

OVNObjectRef OVNPropertyMapper::createObjectWithClass(const OVNClass& cls, const OVNValue& dictionary, Errors* errors) {
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
    if (auto convertible = dynamic_cast<const OVNDictionaryConvertible*>(object.get()))
      return convertible->toDictionary();
  }
  return nullptr;
}

// The source with every mapped key taken out: top-level keys, and for dotted keys the last
// component inside its parent dictionary; a fully mutable deep copy of what remains. Mapped
// top-level entries are dropped before copying, so the bulk of a payload is never copied.
OVNDictionaryRef unmappedRemainder(const OVNDictionaryRef& source, const std::vector<MappingEntry>* entries) {
  if (!source) return nullptr;
  if (!entries) return ovn_mutableDeepCopy(source);
  OVNDictionary::Storage kept;
  for (const auto& member : *source) {
    const bool mapped =
        std::any_of(entries->begin(), entries->end(), [&](const MappingEntry& e) { return e.key == member.first; });
    if (!mapped) kept.insert_or_assign(member.first, member.second);
  }
  OVNDictionaryRef remainder = ovn_mutableDeepCopy(std::make_shared<OVNDictionary>(std::move(kept), false));
  for (const MappingEntry& entry : *entries) {
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

// classPropertyForInstance through a resolved slot: the nested object held in the
// property, or a new one made and stored there.
OVNObjectRef nestedObject(OVNPropertyMapper& mapper, OVNObject& object, const PropertySlot* slot, std::string_view name,
                          const OVNClass* cls) {
  if (!slot || !slot->property) return nullptr;
  const OVNValue current = slot->property->get(object);
  if (current.isPresent() && !current.isNull()) return current.object();
  if (!cls) return nullptr;
  OVNObjectRef created = mapper._createObjectWithClass(*cls, OVNValue());
  if (created) assignSafely(slot, name, object, created);
  return created;
}
}  // namespace

void OVNPropertyMapper::Impl::applyMapping(OVNPropertyMapper& mapper, const ClassMapping& mapping,
                                           const OVNObjectRef& object, const OVNDictionaryRef& dictionary) const {
  // Objects of the class the table was registered for use the slots resolved then.
  const ClassInfo* info = mapping.boundClass == &object->objectClass() ? nullptr : &classInfo(object->objectClass());
  const OVNValue whole(dictionary);
  OVNValue scratch;
  for (const MappingEntry& entry : mapping.entries) {
    const OVNPropertyDescriptor& descriptor = *entry.descriptor;
    if (!(descriptor.mode() & OVNPropertyDescriptor::Decode) || descriptor.type() > OVNPropertyDescriptor::WholeObject)
      continue;
    const OVNValue* found = entry.wholeSource ? &whole : valueAtPath(*dictionary, entry, scratch);
    if (!found || found->isMissing() || found->isNull()) continue;
    const OVNValue& value = *found;
    const std::string& name = descriptor.propertyName();
    const PropertySlot* slot = info ? info->slot(name) : entry.slot;
    switch (descriptor.type()) {
      case OVNPropertyDescriptor::Plain: assignSafely(slot, name, *object, value); break;
      case OVNPropertyDescriptor::NestedObject:
        if (value.isDictionary()) {
          if (auto nested = nestedObject(mapper, *object, slot, name, descriptor.propertyClass()))
            mapper.updateObjectInstance(nested, value, nested->className());
        } else if (auto array = value.array()) {
          std::vector<OVNValue> results;
          results.reserve(array->count());
          for (const OVNValue& element : *array) {
            // Elements that are not dictionaries are skipped like elements the factory
            // cannot make, with the same line.
            OVNObjectRef created = element.isDictionary() && descriptor.propertyClass()
                                       ? mapper._createObjectWithClass(*descriptor.propertyClass(), element)
                                       : nullptr;
            if (!created) {
              OVNConsoleLog::writeFormat("**ERROR** Could not create instance of %@ in array for property %@",
                                         nameOf(descriptor.propertyClass()), entry.key);
              continue;
            }
            results.emplace_back(std::move(created));
          }
          assignSafely(slot, name, *object, OVNArray::make(std::move(results), true));
        }
        break;
      case OVNPropertyDescriptor::NestedProperty:
        if (auto holder =
                mapper.classPropertyForInstance(object, descriptor.classPropertyName(), descriptor.propertyClass()))
          mapper.setSafeValue(value, name, *holder);
        break;
      case OVNPropertyDescriptor::Converted:
        if (descriptor.decodingBlock()) assignSafely(slot, name, *object, descriptor.decodingBlock()(value, name));
        break;
      case OVNPropertyDescriptor::WholeObject:
        if (descriptor.decodingConsumerBlock()) descriptor.decodingConsumerBlock()(value, object);
        break;
    }
  }
}

void OVNPropertyMapper::updateObjectInstance(const OVNObjectRef& object, const OVNValue& source,
                                             std::string_view mappingKey) {
  if (!object) return;
  const ClassMapping* mapping = impl_->mappingNamed(mappingKey);
  const OVNDictionaryRef dictionary = sourceDictionary(source);
  if (mapping && dictionary && !dictionary->empty()) impl_->applyMapping(*this, *mapping, object, dictionary);
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

namespace {
// getSafeValueForKey through a resolved slot.
OVNValue readSlot(const PropertySlot& slot, const OVNObject& object) {
  return slot.property ? ovn_wrappedValue(*slot.property, object) : OVNValue();
}
}  // namespace

OVNValue OVNPropertyMapper::getSafeValueForKey(std::string_view propertyName, const OVNObject& object) const {
  const PropertySlot* slot = impl_->classInfo(object.objectClass()).slot(propertyName);
  return slot ? readSlot(*slot, object) : OVNValue();
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
    OVNLogger::log(OVNLogLevelDebug, "OVNPropertyMapper: %@ has no writable property %@", object.className(), name);
    return;
  }
  if (object.hasObservers()) {
    try {
      object.setValue(value, name);
    } catch (const OVNException& e) {
      OVNLogger::log(OVNLogLevelDebug, "OVNPropertyMapper: %@ not stored in %@.%@: %@", value.className(),
                     object.className(), name, e.reason());
    }
    return;
  }
  // A missing value for a scalar (Nil) leaves it as it is.
  if (slot->property->set(object, value) == OVNPropertyAccessor::SetResult::Mismatch) {
    OVNLogger::log(OVNLogLevelDebug, "OVNPropertyMapper: %@ does not fit %@.%@ (%@)", value.className(),
                   object.className(), name, slot->typeString);
  }
}

}  // namespace

namespace {

// The rules of setSafeValue for a resolved property slot (null: the class has no such
// property).
void assignSafely(const PropertySlot* slot, std::string_view name, OVNObject& object, const OVNValue& value) {
  if (value.isMissing() || value.isNull()) {
    if (slot && slot->clearedByNil) store(object, slot, name, OVNValue());
    return;
  }
  const OVNArray* array = value.arrayPointer();
  if (!array) {
    store(object, slot, name, value);
    return;
  }
  switch (slot ? slot->arrayStorage : ArrayStorage::Refused) {
    case ArrayStorage::AsIs: store(object, slot, name, value); break;
    case ArrayStorage::Set: store(object, slot, name, asSet(*array)); break;
    case ArrayStorage::OrderedSet: store(object, slot, name, asOrderedSet(*array)); break;
    case ArrayStorage::Refused: break;
  }
}

}  // namespace

void OVNPropertyMapper::setSafeValue(const OVNValue& value, std::string_view propertyName, OVNObject& object) const {
  assignSafely(impl_->classInfo(object.objectClass()).slot(propertyName), propertyName, object, value);
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
    // Objects of the class the table was registered for are read through its slots.
    const bool bound = object && mapping->boundClass == &object->objectClass();
    for (const MappingEntry& entry : mapping->entries) {
      const OVNPropertyDescriptor& descriptor = *entry.descriptor;
      if (!(descriptor.mode() & OVNPropertyDescriptor::Encode)) continue;
      OVNDictionary* target = writeTarget(*result, entry);

      OVNValue property;
      if (object) {
        if (bound && descriptor.type() != OVNPropertyDescriptor::NestedProperty) {
          property = entry.slot ? readSlot(*entry.slot, *object) : OVNValue();
        } else if (descriptor.type() == OVNPropertyDescriptor::NestedProperty) {
          if (auto holder = getSafeValueForKey(descriptor.classPropertyName(), *object).object())
            property = getSafeValueForKey(descriptor.propertyName(), *holder);
        } else {
          property = getSafeValueForKey(descriptor.propertyName(), *object);
        }
      }
      if (property.isMissing() && options == SerializeMissingAsNull) property = OVNValue::null();

      switch (descriptor.type()) {
        case OVNPropertyDescriptor::Plain: ovn_setSafeValue(*target, property, entry.key); break;
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
          if (descriptor.encodingBlock())
            ovn_setSafeValue(*target, descriptor.encodingBlock()(property, entry.key), entry.key);
          break;
        case OVNPropertyDescriptor::WholeObject:
          if (descriptor.encodingGenerationBlock())
            ovn_setSafeValue(*target, descriptor.encodingGenerationBlock()(object), entry.key);
          break;
        default: break;
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
