#include "Platform/Serialization/OVNKeyedArchiver.h"

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

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

OVN_PROPERTIES(OVNKeyedArchiver, (outputFormat, setOutputFormat))

using namespace ovn::detail;

struct OVNKeyedArchiver::Impl {
  bool secure = false;
  int format = OVNPropertyListBinaryFormat_v1_0;
  bool finished = false;
  OVNDataRef data;

  OVNArrayRef objects = OVNArray::make({OVNValue(kNullObject)});
  OVNDictionaryRef top = OVNDictionary::make();
  //! The field dictionaries being written: the top level, then each object being encoded.
  std::vector<OVNDictionary*> frames{top.get()};

  // Values written once and referred to again.
  std::unordered_map<const void*, std::uint64_t> byIdentity;  // containers, data, boxed values, objects
  std::unordered_set<const void*> inProgress;
  std::unordered_map<std::string, std::uint64_t> strings;
  std::map<std::pair<int, std::uint64_t>, std::uint64_t> scalars;  // (number kind or date, bits)
  std::unordered_map<std::string, std::uint64_t> classes;
  std::optional<std::uint64_t> null;
  //! Everything encoded by identity stays alive until the archiver goes, so that a
  //! temporary made inside encodeWithCoder cannot free its address for another value.
  std::vector<OVNValue> retained;
};

namespace {
constexpr int kDateScalar = 100;  // beside the number kinds in the scalar table

std::uint64_t bitsOf(double d) {
  std::uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return bits;
}

const OVNClass& registeredClass(std::string_view name) {
  const OVNClass* cls = OVNClass::named(name);
  if (!cls) OVNException::raise(OVNInternalInconsistencyException, "no registered class " + std::string(name));
  return *cls;
}

}  // namespace

// Encodes one value into the objects table; nullopt after recording a failure.
class OVNKeyedArchiver::Encoder {
 public:
  Encoder(OVNKeyedArchiver& archiver, OVNKeyedArchiver::Impl& impl, std::string_view key)
      : archiver_(archiver), s_(impl), key_(key) {}

  std::optional<std::uint64_t> encode(const OVNValue& value, std::string_view key) {
    switch (value.kind()) {
      case OVNValueKind::Missing: return 0;
      case OVNValueKind::Null:
        if (!s_.null) s_.null = add(objectOf(registeredClass("NSNull")));
        return s_.null;
      case OVNValueKind::String: {
        auto [it, inserted] = s_.strings.try_emplace(*value.string(), 0);
        if (inserted) it->second = add(value);
        return it->second;
      }
      case OVNValueKind::Number: {
        const OVNNumber n = *value.number();
        const std::uint64_t bits = n.isFloating() ? bitsOf(n.doubleValue()) : n.unsignedLongLongValue();
        auto [it, inserted] = s_.scalars.try_emplace({static_cast<int>(n.kind()), bits}, 0);
        if (inserted) {
          if (n.kind() == OVNNumberKind::Unsigned) {  // plain integers would come back signed
            auto fields = objectOf(registeredClass("NSNumber"));
            fields->set(kUnsignedKey, value);
            it->second = add(fields);
          } else {
            it->second = add(value);
          }
        }
        return it->second;
      }
      case OVNValueKind::Date: {
        const double seconds = value.date()->timeIntervalSinceReferenceDate();
        auto [it, inserted] = s_.scalars.try_emplace({kDateScalar, bitsOf(seconds)}, 0);
        if (inserted) {
          auto fields = objectOf(registeredClass("NSDate"));
          fields->set(kTimeKey, OVNValue(seconds));
          it->second = add(fields);
        }
        return it->second;
      }
      case OVNValueKind::Data: return shared(value, value.data().get(), [&](std::uint64_t) { return value; });
      case OVNValueKind::Boxed: {
        const OVNBoxedValue& boxed = *value.boxed();
        return shared(value, &boxed, [&](std::uint64_t) -> std::optional<OVNValue> {
          auto fields = objectOf(registeredClass("NSValue"));
          auto encoding = encode(OVNValue(boxed.encoding()), key);
          auto bytes = encode(OVNValue(OVNData::make(boxed.bytes())), key);
          fields->set(kTypeEncodingKey, archiveUID(*encoding));
          fields->set(kBytesKey, archiveUID(*bytes));
          return OVNValue(fields);
        });
      }
      case OVNValueKind::Array: return collection(value, value.array().get(), value.array()->members(), key);
      case OVNValueKind::Set: {
        const OVNSet& set = *value.set();
        return collection(value, &set, std::vector<OVNValue>(set.begin(), set.end()), key);
      }
      case OVNValueKind::OrderedSet:
        return collection(value, value.orderedSet().get(), value.orderedSet()->members(), key);
      case OVNValueKind::Dictionary: return dictionary(value, key);
      case OVNValueKind::Object: return object(value, key);
      case OVNValueKind::Block:
        fail(OVNFormat("the value for key '%@' is a block, which cannot be archived", key));
        return std::nullopt;
    }
    return std::nullopt;
  }

 private:
  void fail(const std::string& reason) {
    archiver_.failWithError(OVNError::errorWithDomain(OVNCocoaErrorDomain, OVNCoderInvalidValueError, reason));
  }

  std::uint64_t add(OVNValue entry) {
    s_.objects->add(std::move(entry));
    return s_.objects->count() - 1;
  }

  std::uint64_t classReference(const OVNClass& cls) {
    auto [it, inserted] = s_.classes.try_emplace(cls.name(), 0);
    if (inserted) {
      std::vector<OVNValue> chain;
      for (const OVNClass* c = &cls; c; c = c->superclass()) chain.emplace_back(c->name());
      it->second = add(OVNDictionary::make({{std::string(kClassNameKey), OVNValue(cls.name())},
                                            {std::string(kClassesKey), OVNValue(OVNArray::make(std::move(chain)))}}));
    }
    return it->second;
  }

  OVNDictionaryRef objectOf(const OVNClass& cls) {
    return OVNDictionary::make({{std::string(kClassKey), archiveUID(classReference(cls))}});
  }

  // A value archived by identity: once, with a slot reserved before its members so that a
  // container reaching itself is seen as a cycle.
  template <class Build>
  std::optional<std::uint64_t> shared(const OVNValue& value, const void* identity, Build&& build) {
    if (auto it = s_.byIdentity.find(identity); it != s_.byIdentity.end()) return it->second;
    if (s_.inProgress.count(identity)) {
      fail(OVNFormat("the value for key '%@' (%@) contains itself; an archive cannot hold a reference cycle", key_,
                     value.className()));
      return std::nullopt;
    }
    s_.retained.push_back(value);
    const std::uint64_t slot = add(OVNValue(kNullObject));
    s_.inProgress.insert(identity);
    std::optional<OVNValue> entry = build(slot);
    s_.inProgress.erase(identity);
    if (!entry) return std::nullopt;
    s_.objects->replace(slot, std::move(*entry));
    s_.byIdentity.emplace(identity, slot);
    return slot;
  }

  std::optional<OVNValue> references(const std::vector<OVNValue>& members, std::string_view key) {
    std::vector<OVNValue> uids;
    uids.reserve(members.size());
    for (const OVNValue& member : members) {
      auto uid = encode(member, key);
      if (!uid) return std::nullopt;
      uids.push_back(archiveUID(*uid));
    }
    return OVNValue(OVNArray::make(std::move(uids), false));
  }

  std::optional<std::uint64_t> collection(const OVNValue& value, const void* identity,
                                          const std::vector<OVNValue>& members, std::string_view key) {
    return shared(value, identity, [&](std::uint64_t) -> std::optional<OVNValue> {
      auto list = references(members, key);
      if (!list) return std::nullopt;
      auto fields = objectOf(registeredClass(value.className()));
      fields->set(kMembersKey, *list);
      return OVNValue(fields);
    });
  }

  std::optional<std::uint64_t> dictionary(const OVNValue& value, std::string_view key) {
    const OVNDictionary& dictionary = *value.dictionary();
    return shared(value, &dictionary, [&](std::uint64_t) -> std::optional<OVNValue> {
      std::vector<OVNValue> keys, members;
      for (const auto& [k, member] : dictionary) {
        keys.emplace_back(k);
        members.push_back(member);
      }
      auto keyList = references(keys, key);
      auto memberList = keyList ? references(members, key) : std::nullopt;
      if (!memberList) return std::nullopt;
      auto fields = objectOf(registeredClass(value.className()));
      fields->set(kKeysKey, *keyList);
      fields->set(kMembersKey, *memberList);
      return OVNValue(fields);
    });
  }

  std::optional<std::uint64_t> object(const OVNValue& value, std::string_view key) {
    const OVNObjectRef object = value.object();
    const OVNClass& cls = object->objectClass();
    if (!object->supportsKeyedCoding()) {
      fail(OVNFormat("the value for key '%@' is an object of class '%@', which does not support keyed coding", key,
                     cls.name()));
      return std::nullopt;
    }
    if (archiver_.requiresSecureCoding() && !object->supportsSecureCoding()) {
      fail(OVNFormat("class '%@' does not support secure coding, which this archiver requires", cls.name()));
      return std::nullopt;
    }
    return shared(value, object.get(), [&](std::uint64_t) -> std::optional<OVNValue> {
      auto fields = objectOf(cls);
      s_.frames.push_back(fields.get());
      struct Pop {
        std::vector<OVNDictionary*>& frames;
        ~Pop() { frames.pop_back(); }
      } pop{s_.frames};
      object->encodeWithCoder(archiver_);
      if (archiver_.error()) return std::nullopt;
      return OVNValue(fields);
    });
  }

  OVNKeyedArchiver& archiver_;
  OVNKeyedArchiver::Impl& s_;
  std::string_view key_;  // the caller's key, for messages
};

OVNKeyedArchiver::OVNKeyedArchiver() : impl_(std::make_unique<Impl>()) {}
OVNKeyedArchiver::~OVNKeyedArchiver() = default;

std::shared_ptr<OVNKeyedArchiver> OVNKeyedArchiver::initRequiringSecureCoding(bool requiresSecureCoding) {
  auto archiver = OVNMake<OVNKeyedArchiver>();
  archiver->impl_->secure = requiresSecureCoding;
  return archiver;
}

OVNDataRef OVNKeyedArchiver::archivedDataWithRootObject(const OVNValue& root, bool requiringSecureCoding,
                                                        std::shared_ptr<OVNError>* error) {
  auto archiver = initRequiringSecureCoding(requiringSecureCoding);
  archiver->encodeObject(root, OVNKeyedArchiveRootObjectKey);
  OVNDataRef data = archiver->encodedData();
  if (!data && error) *error = archiver->error();
  return data;
}

int OVNKeyedArchiver::outputFormat() const { return impl_->format; }

void OVNKeyedArchiver::setOutputFormat(int format) {
  if (format != OVNPropertyListBinaryFormat_v1_0 && format != OVNPropertyListXMLFormat_v1_0) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("-[NSKeyedArchiver setOutputFormat:]: unsupported format %d", format));
  }
  impl_->format = format;
}

bool OVNKeyedArchiver::requiresSecureCoding() const { return impl_->secure; }

namespace {
void requireOpen(bool finished, const char* selector) {
  if (finished) {
    OVNException::raise(
        OVNInvalidArgumentException,
        OVNFormat("-[NSKeyedArchiver %s]: archive already finished, cannot encode anything more", selector));
  }
}
}  // namespace

void OVNKeyedArchiver::encodeObject(const OVNValue& value, std::string_view key) {
  requireOpen(impl_->finished, "encodeObject:forKey:");
  if (value.isMissing() || error_) return;
  OVNDictionary* fields = impl_->frames.back();
  auto uid = Encoder(*this, *impl_, key).encode(value, key);
  if (uid) fields->set(archiveKey(key), archiveUID(*uid));
}

void OVNKeyedArchiver::encodeBool(bool value, std::string_view key) {
  requireOpen(impl_->finished, "encodeBool:forKey:");
  impl_->frames.back()->set(archiveKey(key), OVNValue(value));
}

void OVNKeyedArchiver::encodeInt64(std::int64_t value, std::string_view key) {
  requireOpen(impl_->finished, "encodeInt64:forKey:");
  impl_->frames.back()->set(archiveKey(key), OVNValue(static_cast<long long>(value)));
}

void OVNKeyedArchiver::encodeDouble(double value, std::string_view key) {
  requireOpen(impl_->finished, "encodeDouble:forKey:");
  impl_->frames.back()->set(archiveKey(key), OVNValue(value));
}

void OVNKeyedArchiver::finishEncoding() {
  if (impl_->finished) return;
  impl_->finished = true;
  if (error_) return;
  const OVNValue archive = OVNDictionary::make({
      {std::string(kArchiverKey), OVNValue(kArchiverName)},
      {std::string(kVersionKey), OVNValue(static_cast<long long>(kArchiveVersion))},
      {std::string(kTopKey), OVNValue(impl_->top)},
      {std::string(kObjectsKey), OVNValue(impl_->objects)},
  });
  std::shared_ptr<OVNError> writeError;
  impl_->data = OVNPropertyListSerialization::dataWithPropertyList(archive, impl_->format, 0, &writeError);
  if (!impl_->data) {
    failWithError(OVNError::errorWithDomain(
        OVNCocoaErrorDomain, OVNCoderInvalidValueError,
        OVNDictionary::make({
            {std::string(OVNLocalizedDescriptionKey),
             OVNValue("The archive could not be written: " + (writeError ? writeError->localizedDescription() : ""))},
            {std::string(OVNUnderlyingErrorKey), OVNValue(writeError)},
        })));
  }
}

OVNDataRef OVNKeyedArchiver::encodedData() {
  finishEncoding();
  return error_ ? nullptr : impl_->data;
}
