#include "Platform/Serialization/OVNKeyedUnarchiver.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/Serialization/detail/OVNArchiveBinaryPlist.h"
#include "Platform/Serialization/detail/OVNArchiveKeys.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNBoxedValue.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"

OVN_PROPERTIES(OVNKeyedUnarchiver)

using namespace ovn::detail;

namespace {
using ClassList = std::vector<const OVNClass*>;
}  // namespace

struct OVNKeyedUnarchiver::Impl {
  OVNArrayRef objects = OVNArray::make({}, false);
  OVNDictionaryRef top = OVNDictionary::make({}, false);
  bool secure = true;
  bool finished = false;
  int depth = 0;

  //! The field dictionaries being read (the top level, then each object in initWithCoder)
  //! and the classes allowed for the object they belong to (null: none given).
  struct Frame {
    const OVNDictionary* fields;
    const ClassList* allowed;
  };
  std::vector<Frame> frames;

  //! A decoded archive object, its class, and every class it holds through value
  //! containers, so that a second reference to it can be checked against other lists.
  struct Entry {
    OVNValue value;
    const OVNClass* cls = nullptr;
    ClassList classes;
    std::uint64_t size = 1;  // values it expands to, counting a shared one at each place
  };
  std::unordered_map<std::uint64_t, Entry> decoded;
  std::unordered_set<std::uint64_t> active;  // being decoded: meeting one again is a cycle
};

namespace {
std::shared_ptr<OVNError> corruptError(const std::string& reason, std::int64_t code = OVNCoderReadCorruptError,
                                       const std::shared_ptr<OVNError>& underlying = nullptr) {
  auto info = OVNDictionary::make(
      {{std::string(OVNLocalizedDescriptionKey),
        OVNValue(code == OVNCoderValueNotFoundError
                     ? "The data couldn\u2019t be read because it is missing (" + reason + ")."
                     : "The data couldn\u2019t be read because it isn\u2019t in the correct format (" + reason + ").")},
       {std::string(OVNDebugDescriptionErrorKey), OVNValue(reason)}});
  if (underlying) info->set(OVNUnderlyingErrorKey, OVNValue(underlying));
  return OVNError::errorWithDomain(OVNCocoaErrorDomain, code, info);
}

std::string names(const ClassList& classes) {
  std::string text = "[";
  for (const OVNClass* cls : classes) {
    if (cls) text += (text.size() > 1 ? ", " : "") + cls->name();
  }
  return text + "]";
}

bool descendsFromAny(const OVNClass& cls, const ClassList& classes) {
  return std::any_of(classes.begin(), classes.end(), [&](const OVNClass* c) { return c && cls.isSubclassOfClass(*c); });
}

void merge(ClassList& into, const ClassList& from) {
  for (const OVNClass* cls : from) {
    if (std::find(into.begin(), into.end(), cls) == into.end()) into.push_back(cls);
  }
}

}  // namespace

// Decodes the objects that one decode call reaches.
class OVNKeyedUnarchiver::Decoder {
 public:
  using Entry = OVNKeyedUnarchiver::Impl::Entry;

  Decoder(OVNKeyedUnarchiver& unarchiver, OVNKeyedUnarchiver::Impl& state, std::string_view key)
      : unarchiver_(unarchiver), s_(state), key_(key) {}

  //! The value a stored reference stands for; `allowed` null admits any class, `expected`
  //! (typed decodes) constrains the value itself.
  OVNValue reference(const OVNValue& stored, const ClassList* allowed, const ClassList* expected) {
    const auto ref = archiveUIDValue(stored);
    if (!ref) {
      fail("the value is not an object reference");
      return {};
    }
    Entry entry;
    if (*ref == 0 || !uid(*ref, allowed, expected, entry)) return {};
    return entry.value;
  }

 private:
  bool fail(const std::string& reason) {
    unarchiver_.failWithError(corruptError(OVNFormat("key '%@': %@", key_, reason)));
    return false;
  }

  bool permitted(const OVNClass& cls, const ClassList* allowed, const ClassList* expected) {
    for (const ClassList* list : {allowed, expected}) {
      if (list && !descendsFromAny(cls, *list)) {
        return fail(OVNFormat("value was of unexpected class '%@'; allowed classes are %@", cls.name(), names(*list)));
      }
    }
    return true;
  }

  bool uid(std::uint64_t ref, const ClassList* allowed, const ClassList* expected, Entry& out) {
    if (unarchiver_.error()) return false;
    if (ref >= s_.objects->count()) {
      return fail(OVNFormat("reference %llu points past the archive's %lu objects",
                            static_cast<unsigned long long>(ref), s_.objects->count()));
    }
    if (auto it = s_.decoded.find(ref); it != s_.decoded.end()) {
      for (const OVNClass* cls : it->second.classes) {
        if (!permitted(*cls, allowed, nullptr)) return false;
      }
      if (!permitted(*it->second.cls, nullptr, expected)) return false;
      out = it->second;
      return true;
    }
    if (s_.active.count(ref))
      return fail(OVNFormat("object %llu contains itself", static_cast<unsigned long long>(ref)));
    if (s_.depth >= kArchiveMaxDepth)
      return fail(OVNFormat("objects are nested more than %d levels deep", kArchiveMaxDepth));
    struct Visit {
      OVNKeyedUnarchiver::Impl& s;
      std::uint64_t ref;
      Visit(OVNKeyedUnarchiver::Impl& state, std::uint64_t r) : s(state), ref(r) {
        s.active.insert(ref);
        ++s.depth;
      }
      ~Visit() {
        s.active.erase(ref);
        --s.depth;
      }
    };
    bool ok;
    {
      Visit visit(s_, ref);
      ok = entry(s_.objects->at(ref), allowed, expected, out);
    }
    if (!ok) return false;
    if (out.size > kArchiveMaxExpandedValues) return fail("shared references expand to too many values");
    s_.decoded.emplace(ref, out);
    return true;
  }

  bool entry(const OVNValue& stored, const ClassList* allowed, const ClassList* expected, Entry& out) {
    const char* primitive = nullptr;
    switch (stored.kind()) {
      case OVNValueKind::String: primitive = "NSString"; break;
      case OVNValueKind::Number: primitive = "NSNumber"; break;
      case OVNValueKind::Data: primitive = "NSData"; break;
      case OVNValueKind::Dictionary:
        if (archiveUIDValue(stored)) return fail("a reference stands where an object belongs");
        return classed(*stored.dictionary(), allowed, expected, out);
      default: return fail("an archived object has an invalid form");
    }
    const OVNClass* cls = OVNClass::named(primitive);
    if (!permitted(*cls, allowed, expected)) return false;
    out = Entry{stored, cls, {cls}};
    return true;
  }

  bool classed(const OVNDictionary& fields, const ClassList* allowed, const ClassList* expected, Entry& out) {
    const auto classRef = archiveUIDValue(fields.objectForKey(kClassKey));
    if (!classRef || *classRef == 0 || *classRef >= s_.objects->count())
      return fail("an object's class reference is invalid");
    const OVNDictionary* description = s_.objects->at(*classRef).dictionary().get();
    if (!description) return fail("an object's class description is not a dictionary");
    const OVNValue name = description->objectForKey(kClassNameKey);
    if (!name.isString()) return fail("an object's class description has no class name");
    // "$classes" is only checked for form: the registry, not the archive, says what a
    // class descends from.
    if (const OVNValue chain = description->objectForKey(kClassesKey); chain.isPresent()) {
      const OVNArray* list = chain.array().get();
      if (!list || !std::all_of(list->begin(), list->end(), [](const OVNValue& v) { return v.isString(); })) {
        return fail("an object's class description has an invalid class list");
      }
    }
    const OVNClass* cls = OVNClass::named(*name.string());
    if (!cls) return fail(OVNFormat("cannot decode object of class (%@): no such class is registered", name));
    if (!permitted(*cls, allowed, expected)) return false;
    out.cls = cls;
    out.classes = {cls};
    if (auto kind = cls->valueKind()) return value(*kind, *cls, fields, allowed, out);
    return object(*cls, fields, allowed, out);
  }

  bool members(const OVNDictionary& fields, std::string_view listKey, const ClassList* allowed,
               std::vector<OVNValue>& result, Entry& owner) {
    const OVNArray* list = fields.objectForKey(listKey).array().get();
    if (!list) return fail("a collection has no member list");
    result.reserve(list->count());
    for (const OVNValue& stored : *list) {
      const auto ref = archiveUIDValue(stored);
      if (!ref || *ref == 0) return fail("a collection holds an invalid or nil member");
      Entry member;
      if (!uid(*ref, allowed, nullptr, member)) return false;
      result.push_back(std::move(member.value));
      merge(owner.classes, member.classes);
      owner.size = std::min(owner.size + member.size, kArchiveMaxExpandedValues + 1);
      // Checked before the container is built: filling a set compares members in full.
      if (owner.size > kArchiveMaxExpandedValues) return fail("shared references expand to too many values");
    }
    return true;
  }

  // The archive's own entry of a value object (a boxed value's parts).
  const OVNValue* part(const OVNDictionary& fields, std::string_view partKey) {
    const auto ref = archiveUIDValue(fields.objectForKey(partKey));
    if (!ref || *ref == 0 || *ref >= s_.objects->count()) return nullptr;
    return &s_.objects->at(*ref);
  }

  bool value(OVNValueKind kind, const OVNClass& cls, const OVNDictionary& fields, const ClassList* allowed,
             Entry& out) {
    const bool isMutable = cls.isMutableVariant();
    switch (kind) {
      case OVNValueKind::Array: {
        std::vector<OVNValue> list;
        if (!members(fields, kMembersKey, allowed, list, out)) return false;
        out.value = std::make_shared<OVNArray>(std::move(list), isMutable);
        return true;
      }
      case OVNValueKind::Set: {
        std::vector<OVNValue> list;
        if (!members(fields, kMembersKey, allowed, list, out)) return false;
        out.value = std::make_shared<OVNSet>(OVNSet::Storage(list.begin(), list.end()), isMutable);
        return true;
      }
      case OVNValueKind::OrderedSet: {
        std::vector<OVNValue> list;
        if (!members(fields, kMembersKey, allowed, list, out)) return false;
        auto set = std::make_shared<OVNOrderedSet>(true);
        for (OVNValue& member : list) set->add(std::move(member));
        out.value = isMutable ? set : set->copy();
        return true;
      }
      case OVNValueKind::Dictionary: {
        std::vector<OVNValue> keys, list;
        if (!members(fields, kKeysKey, allowed, keys, out) || !members(fields, kMembersKey, allowed, list, out)) {
          return false;
        }
        if (keys.size() != list.size()) return fail("a dictionary has different numbers of keys and values");
        OVNDictionary::Storage entries;
        for (std::size_t i = 0; i < keys.size(); ++i) {
          if (!keys[i].isString()) return fail("a dictionary key is not a string");
          entries.insert_or_assign(*keys[i].string(), std::move(list[i]));
        }
        out.value = std::make_shared<OVNDictionary>(std::move(entries), isMutable);
        return true;
      }
      case OVNValueKind::Date: {
        const OVNValue time = fields.objectForKey(kTimeKey);
        const OVNNumber* seconds = time.number();
        if (!seconds) return fail("a date has no time");
        out.value = OVNDate(seconds->doubleValue());
        return true;
      }
      case OVNValueKind::Null: out.value = OVNValue::null(); return true;
      case OVNValueKind::Number: {
        const OVNValue stored = fields.objectForKey(kUnsignedKey);
        const OVNNumber* number = stored.number();
        if (!number) return fail("a number has no value");
        out.value = OVNNumber::unsignedInteger(number->unsignedLongLongValue());
        return true;
      }
      case OVNValueKind::Boxed: {
        const OVNValue* encoding = part(fields, kTypeEncodingKey);
        const OVNValue* bytes = part(fields, kBytesKey);
        if (!encoding || !encoding->isString() || !bytes || !bytes->data()) return fail("a boxed value is malformed");
        out.value = std::make_shared<const OVNBoxedValue>(*encoding->string(), bytes->data()->bytes());
        return true;
      }
      default: return fail(OVNFormat("objects of class '%@' cannot be unarchived", cls.name()));
    }
  }

  bool object(const OVNClass& cls, const OVNDictionary& fields, const ClassList* allowed, Entry& out) {
    OVNObjectRef instance = cls.createInstance();
    if (!instance) return fail(OVNFormat("class '%@' cannot be instantiated", cls.name()));
    if (!instance->supportsKeyedCoding())
      return fail(OVNFormat("class '%@' does not support keyed coding", cls.name()));
    if (s_.secure && !instance->supportsSecureCoding()) {
      return fail(OVNFormat("class '%@' does not support secure coding", cls.name()));
    }
    s_.frames.push_back({&fields, allowed});
    struct Pop {
      std::vector<OVNKeyedUnarchiver::Impl::Frame>& frames;
      ~Pop() { frames.pop_back(); }
    } pop{s_.frames};
    const bool ok = instance->initWithCoder(unarchiver_);
    if (unarchiver_.error()) return false;
    if (!ok) return fail(OVNFormat("an object of class '%@' could not be restored", cls.name()));
    out.value = instance;
    return true;
  }

  OVNKeyedUnarchiver& unarchiver_;
  OVNKeyedUnarchiver::Impl& s_;
  std::string_view key_;
};

OVNKeyedUnarchiver::OVNKeyedUnarchiver() : impl_(std::make_unique<Impl>()) {
  impl_->frames.push_back({impl_->top.get(), nullptr});
}

OVNKeyedUnarchiver::~OVNKeyedUnarchiver() = default;

std::shared_ptr<OVNKeyedUnarchiver> OVNKeyedUnarchiver::initForReadingFromData(const OVNData& data,
                                                                               std::shared_ptr<OVNError>* error) {
  std::shared_ptr<OVNError> readError;
  const OVNValue root =
      OVNPropertyListSerialization::propertyListWithData(data, OVNPropertyListImmutable, nullptr, &readError);
  auto refuse = [&](const std::string& reason) -> std::shared_ptr<OVNKeyedUnarchiver> {
    if (error) *error = corruptError(reason, OVNCoderReadCorruptError, readError);
    return nullptr;
  };
  if (root.isMissing()) return refuse("the data is not a property list");
  const OVNDictionary* archive = root.dictionary().get();
  if (!archive || !archive->objectForKey(kArchiverKey).isString()) return refuse("the data is not a keyed archive");
  if (!archive->objectForKey(kVersionKey).isNumber()) return refuse("the archive has no version");
  OVNArrayRef objects = archive->objectForKey(kObjectsKey).array();
  OVNDictionaryRef top = archive->objectForKey(kTopKey).dictionary();
  if (!objects || !top) return refuse("the archive has no object table or no top level");
  auto unarchiver = OVNMake<OVNKeyedUnarchiver>();
  unarchiver->impl_->objects = std::move(objects);
  unarchiver->impl_->top = std::move(top);
  unarchiver->impl_->frames = {{unarchiver->impl_->top.get(), nullptr}};
  return unarchiver;
}

OVNValue OVNKeyedUnarchiver::unarchivedObjectOfClass(const OVNClass& cls, const OVNData& data,
                                                     std::shared_ptr<OVNError>* error) {
  return unarchivedObjectOfClasses({&cls}, data, error);
}

OVNValue OVNKeyedUnarchiver::unarchivedObjectOfClasses(const std::vector<const OVNClass*>& classes, const OVNData& data,
                                                       std::shared_ptr<OVNError>* error) {
  auto unarchiver = initForReadingFromData(data, error);
  if (!unarchiver) return {};
  OVNValue result = unarchiver->decodeObjectOfClasses(classes, "root");
  unarchiver->finishDecoding();
  if (unarchiver->error() || result.isMissing()) {
    if (error)
      *error = unarchiver->error() ? unarchiver->error() : corruptError("no root object", OVNCoderValueNotFoundError);
    return {};
  }
  return result;
}

OVNValue OVNKeyedUnarchiver::unarchiveObjectWithData(const OVNData& data) {
  auto unarchiver = initForReadingFromData(data, nullptr);
  if (!unarchiver) return {};
  unarchiver->setRequiresSecureCoding(false);
  OVNValue result = unarchiver->decodeObjectForKey("root");
  unarchiver->finishDecoding();
  return unarchiver->error() ? OVNValue() : result;
}

void OVNKeyedUnarchiver::setRequiresSecureCoding(bool requiresSecureCoding) { impl_->secure = requiresSecureCoding; }
bool OVNKeyedUnarchiver::requiresSecureCoding() const { return impl_->secure; }

namespace {
void requireOpen(bool finished, const char* selector) {
  if (finished) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("-[NSKeyedUnarchiver %s]: decoding already finished", selector));
  }
}
}  // namespace

bool OVNKeyedUnarchiver::containsValueForKey(std::string_view key) const {
  requireOpen(impl_->finished, "containsValueForKey:");
  return impl_->frames.back().fields->contains(archiveKey(key));
}

OVNValue OVNKeyedUnarchiver::decodeObjectForKey(std::string_view key) {
  requireOpen(impl_->finished, "decodeObjectForKey:");
  if (error_) return {};
  const Impl::Frame frame = impl_->frames.back();
  const OVNValue stored = frame.fields->objectForKey(archiveKey(key));
  if (stored.isMissing()) return {};
  const ClassList* allowed = nullptr;
  if (impl_->secure) {
    if (!frame.allowed) {
      failWithError(
          corruptError(OVNFormat("key '%@': secure decoding needs the allowed classes (decodeObjectOfClass)", key)));
      return {};
    }
    allowed = frame.allowed;
  }
  OVNValue result = Decoder(*this, *impl_, key).reference(stored, allowed, nullptr);
  return error_ ? OVNValue() : result;
}

OVNValue OVNKeyedUnarchiver::decodeObjectOfClasses(const std::vector<const OVNClass*>& classes, std::string_view key) {
  requireOpen(impl_->finished, "decodeObjectOfClasses:forKey:");
  if (error_) return {};
  const OVNValue stored = impl_->frames.back().fields->objectForKey(archiveKey(key));
  if (stored.isMissing()) return {};
  OVNValue result = Decoder(*this, *impl_, key).reference(stored, impl_->secure ? &classes : nullptr, &classes);
  if (error_) return {};
  if (result.isPresent() && std::none_of(classes.begin(), classes.end(),
                                         [&](const OVNClass* cls) { return cls && cls->isInstance(result); })) {
    failWithError(corruptError(OVNFormat("key '%@': value was of unexpected class '%@'; allowed classes are %@", key,
                                         result.className(), names(classes))));
    return {};
  }
  return result;
}

namespace {
// A stored scalar: missing gives nothing; anything but a number is a failure.
const OVNNumber* scalar(OVNKeyedUnarchiver& unarchiver, const OVNValue& stored, std::string_view key) {
  if (stored.isMissing()) return nullptr;
  const OVNNumber* number = stored.number();
  if (!number) unarchiver.failWithError(corruptError(OVNFormat("key '%@': the value is not a number", key)));
  return number;
}
}  // namespace

bool OVNKeyedUnarchiver::decodeBoolForKey(std::string_view key) {
  requireOpen(impl_->finished, "decodeBoolForKey:");
  if (error_) return false;
  const OVNValue stored = impl_->frames.back().fields->objectForKey(archiveKey(key));
  const OVNNumber* number = scalar(*this, stored, key);
  return number && number->boolValue();
}

std::int64_t OVNKeyedUnarchiver::decodeInt64ForKey(std::string_view key) {
  requireOpen(impl_->finished, "decodeInt64ForKey:");
  if (error_) return 0;
  const OVNValue stored = impl_->frames.back().fields->objectForKey(archiveKey(key));
  const OVNNumber* number = scalar(*this, stored, key);
  return number ? number->longLongValue() : 0;
}

double OVNKeyedUnarchiver::decodeDoubleForKey(std::string_view key) {
  requireOpen(impl_->finished, "decodeDoubleForKey:");
  if (error_) return 0;
  const OVNValue stored = impl_->frames.back().fields->objectForKey(archiveKey(key));
  const OVNNumber* number = scalar(*this, stored, key);
  return number ? number->doubleValue() : 0;
}

void OVNKeyedUnarchiver::finishDecoding() { impl_->finished = true; }
