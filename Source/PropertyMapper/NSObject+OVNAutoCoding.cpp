#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Serialization/OVNCoder.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNFormat.h"
#include "PropertyMapper/NSObject+OVNAutoCoding.h"

namespace {

const OVNClass& rootClass() { return OVNObject::classObject(); }

// ---- declared uncodable properties -------------------------------------------------------

struct UncodableRegistry {
  std::mutex lock;
  std::unordered_map<const OVNClass*, std::vector<std::string>> names;
};

UncodableRegistry& uncodableRegistry() {
  static auto* registry = new UncodableRegistry();  // never destroyed: read during static teardown
  return *registry;
}

// ---- the table of one class --------------------------------------------------------------

// The class a value of this type encoding must have, or null when such properties are not
// coded. Structures would be boxed values, but are not coded either.
const OVNClass* classForEncoding(std::string_view encoding) {
  if (encoding.empty()) return nullptr;
  if (encoding.size() == 1 && std::string_view("BCILQScdfilqs").find(encoding[0]) != std::string_view::npos) {
    return OVNClass::named("NSNumber");
  }
  // Structures, C strings, selectors, pointers and classes are not coded; nor are callbacks.
  if (encoding[0] != '@') return nullptr;
  if (encoding.size() > 1 && encoding[1] == '?') return nullptr;
  if (encoding.size() >= 3 && encoding[1] == '"' && encoding.back() == '"') {
    std::string_view name = encoding.substr(2, encoding.size() - 3);
    name = name.substr(0, name.find('<'));  // NSArray<Foo> is an NSArray
    if (const OVNClass* cls = OVNClass::named(name)) return cls;
  }
  return &rootClass();
}

bool isCodable(const OVNProperty& property) {
  const std::string& field = property.fieldName();
  if (!field.empty()) {
    // A property stored under any other field name is how a class keeps it out of archives.
    return field == property.name() || (field.size() == property.name().size() + 1 && field[0] == '_' &&
                                        std::string_view(field).substr(1) == property.name());
  }
  return property.isDynamic() && !property.isReadOnly();
}

// ---- the merged table, once per class ----------------------------------------------------

struct MergedTable {
  std::once_flag once;
  OVNCodableProperties table;
};

struct MergedTables {
  std::mutex lock;  // guards the map only; tables are built outside it
  std::unordered_map<const OVNClass*, std::unique_ptr<MergedTable>> byClass;
};

MergedTables& mergedTables() {
  static auto* tables = new MergedTables();  // never destroyed: classes live for the process
  return *tables;
}

OVNCodableProperties mergeHierarchy(const OVNClass& cls) {
  OVNCodableProperties merged;
  for (const OVNClass* c = &cls; c && c != &rootClass(); c = c->superclass()) {
    for (auto& [name, valueClass] : codableProperties(*c)) merged.insert_or_assign(name, valueClass);
  }
  return merged;
}

// ---- restoring ---------------------------------------------------------------------------

// The classes a secure coder may make for a property of class `expected`: that class and
// the plain value classes, so that a string where a number belongs still reaches the class
// check below and raises. Containers and untyped properties hold model objects of classes
// the attribute text does not name, so for them any class that supports secure coding is
// allowed. A model object of another class than a model property's is never made.
std::vector<const OVNClass*> allowedClasses(const OVNClass& expected, bool secure) {
  if (!secure) return {&rootClass()};
  if (&expected == &rootClass()) return {&rootClass()};
  std::vector<const OVNClass*> allowed{&expected};
  const auto kind = expected.valueKind();
  if (kind && (*kind == OVNValueKind::Array || *kind == OVNValueKind::Dictionary || *kind == OVNValueKind::Set ||
               *kind == OVNValueKind::OrderedSet)) {
    allowed.push_back(&rootClass());
    return allowed;
  }
  static const std::vector<const OVNClass*> plainValueClasses = [] {
    std::vector<const OVNClass*> classes;
    for (const char* name : {"NSString", "NSNumber", "NSValue", "NSDate", "NSData", "NSNull", "NSArray", "NSDictionary",
                             "NSSet", "NSOrderedSet"}) {
      if (const OVNClass* cls = OVNClass::named(name)) classes.push_back(cls);
    }
    return classes;
  }();
  allowed.insert(allowed.end(), plainValueClasses.begin(), plainValueClasses.end());
  return allowed;
}

}  // namespace

bool ovn_declareUncodableProperties(const OVNClass& cls, std::vector<std::string> names) {
  cls.addHook("uncodableProperties");
  auto& registry = uncodableRegistry();
  std::lock_guard guard(registry.lock);
  auto& list = registry.names[&cls];
  list.insert(list.end(), std::make_move_iterator(names.begin()), std::make_move_iterator(names.end()));
  return true;
}

std::vector<std::string> uncodableProperties(const OVNClass& cls) {
  auto& registry = uncodableRegistry();
  std::lock_guard guard(registry.lock);
  for (const OVNClass* c = &cls; c; c = c->superclass()) {
    if (auto it = registry.names.find(c); it != registry.names.end()) return it->second;
  }
  return {};
}

OVNCodableProperties codableProperties(const OVNClass& cls) {
  if (cls.hasHook("codableKeys")) {
    OVNConsoleLog::write(
        "AutoCoding Warning: codableKeys method is no longer supported. Use codableProperties instead.");
  }
  if (cls.hasHook("uncodableKeys")) {
    OVNConsoleLog::write(
        "AutoCoding Warning: uncodableKeys method is no longer supported. Use ivars, or synthesize your properties "
        "using non-KVC-compliant names to avoid coding them instead.");
  }
  std::vector<std::string> excluded;
  if (cls.hasHook("uncodableProperties")) {
    OVNConsoleLog::write(
        "AutoCoding Warning: uncodableProperties method is no longer supported. Use ivars, or synthesize your "
        "properties using non-KVC-compliant names to avoid coding them instead.");
    excluded = uncodableProperties(cls);
  }

  OVNCodableProperties table;
  for (const OVNProperty& property : cls.properties()) {
    if (std::find(excluded.begin(), excluded.end(), property.name()) != excluded.end()) continue;
    const OVNClass* valueClass = classForEncoding(property.typeEncoding());
    if (!valueClass || !isCodable(property)) continue;
    table.insert_or_assign(property.name(), valueClass);
  }
  return table;
}

const OVNCodableProperties& ovn_codableProperties(const OVNObject& object) {
  const OVNClass& cls = object.objectClass();
  MergedTable* entry;
  {
    auto& tables = mergedTables();
    std::lock_guard guard(tables.lock);
    auto& slot = tables.byClass[&cls];
    if (!slot) slot = std::make_unique<MergedTable>();
    entry = slot.get();
  }
  // Built outside the map's lock: building writes warnings to the console, whose sink is
  // the application's code. Threads asking for the same class meanwhile wait for this one.
  std::call_once(entry->once, [&] { entry->table = mergeHierarchy(cls); });
  return entry->table;
}

bool ovn_setWithCoder(OVNObject& object, OVNCoder& coder) {
  const bool secure = coder.requiresSecureCoding();
  for (const auto& [name, expected] : ovn_codableProperties(object)) {
    const OVNValue value = coder.decodeObjectOfClasses(allowedClasses(*expected, secure), name);
    if (coder.error()) return false;
    if (value.isMissing()) continue;
    // Every object type codes securely here, so the class is always checked.
    if (!expected->isInstance(value)) {
      OVNException::raise(OVNAutocodingException, OVNFormat("Expected '%@' to be a %@, but was actually a %@", name,
                                                            expected->name(), value.className()));
    }
    try {
      object.setValue(value, name);
    } catch (const OVNException& e) {
      if (e.name() != OVNInvalidArgumentException) throw;
      coder.failWithError(OVNError::errorWithDomain(
          OVNCocoaErrorDomain, OVNCoderReadCorruptError,
          OVNFormat("The data couldn\u2019t be read because it isn\u2019t in the correct format (key '%@': a %@ does "
                    "not fit the property of %@).",
                    name, value.className(), object.className())));
      return false;
    }
  }
  return true;
}

void ovn_encodeWithCoder(const OVNObject& object, OVNCoder& coder) {
  for (const auto& entry : ovn_codableProperties(object)) {
    const OVNValue value = object.valueForKey(entry.first);
    if (value.isPresent()) coder.encodeObject(value, entry.first);
  }
}

OVNDictionaryRef ovn_dictionaryRepresentation(const OVNObject& object) {
  auto dictionary = OVNDictionary::make();
  for (const auto& entry : ovn_codableProperties(object)) {
    OVNValue value = object.valueForKey(entry.first);
    if (value.isPresent()) dictionary->set(entry.first, std::move(value));
  }
  return dictionary;
}

OVNObjectRef ovn_copyWithZone(const OVNObject& object) {
  OVNObjectRef copy = object.objectClass().createInstance();
  if (!copy) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("-[%@ copyWithZone:]: the class cannot make a default instance", object.className()));
  }
  for (const auto& entry : ovn_codableProperties(object)) copy->setValue(object.valueForKey(entry.first), entry.first);
  return copy;
}

bool ovn_writeToFile(const OVNObject& object, const std::string& path, bool atomically) {
  const OVNDataRef data = OVNKeyedArchiver::archivedDataWithRootObject(
      OVNValue(std::const_pointer_cast<OVNObject>(object.self())), false, nullptr);
  if (!data) return false;
  if (atomically) return OVNFileManager::writeFileAtomically(path, data->view(), true);
  return OVNFileManager::createFileAtPath(path, std::string(data->view()));
}

OVNValue ovn_objectWithContentsOfFile(const std::string& path) {
  const auto contents = OVNFileManager::contentsAtPath(path);
  if (!contents) return {};
  const OVNDataRef data = OVNData::fromString(*contents);
  const OVNValue plist =
      OVNPropertyListSerialization::propertyListWithData(*data, OVNPropertyListImmutable, nullptr, nullptr);
  if (plist.isMissing()) return {};
  if (const auto dictionary = plist.dictionary(); dictionary && dictionary->contains("$archiver")) {
    return OVNKeyedUnarchiver::unarchivedObjectOfClass(rootClass(), *data, nullptr);
  }
  return plist;
}
