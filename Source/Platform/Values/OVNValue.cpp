#include "Platform/Values/OVNValue.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <functional>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNBlock.h"
#include "Platform/Values/OVNBoxedValue.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"
#include "Platform/Values/detail/OVNDescription.h"

OVNValue::OVNValue(const char* v) {
  if (v) storage_ = std::string(v);
}
OVNValue::OVNValue(OVNDataRef v) {
  if (v) storage_ = std::move(v);
}
OVNValue::OVNValue(OVNArrayRef v) {
  if (v) storage_ = std::move(v);
}
OVNValue::OVNValue(OVNDictionaryRef v) {
  if (v) storage_ = std::move(v);
}
OVNValue::OVNValue(OVNSetRef v) {
  if (v) storage_ = std::move(v);
}
OVNValue::OVNValue(OVNOrderedSetRef v) {
  if (v) storage_ = std::move(v);
}
OVNValue::OVNValue(std::shared_ptr<const OVNBlock> v) {
  if (v) storage_ = std::move(v);
}
OVNValue::OVNValue(std::shared_ptr<const OVNBoxedValue> v) {
  if (v) storage_ = std::move(v);
}
OVNValue::OVNValue(OVNObjectRef v) {
  if (v) storage_ = std::move(v);
}

OVNValue OVNValue::array(std::initializer_list<OVNValue> members) { return OVNArray::make(members); }

OVNValue OVNValue::dictionary(std::initializer_list<std::pair<std::string, OVNValue>> entries) {
  return OVNDictionary::make(entries);
}

namespace {
template <class T>
T getOrNull(const auto& storage) {
  if (auto p = std::get_if<T>(&storage)) return *p;
  return nullptr;
}

// The platform's string-to-number readings: skip leading blanks, read the longest
// numeric prefix, 0 when there is none.
std::int64_t parseLeadingInteger(const std::string& s) {
  errno = 0;
  const char* begin = s.c_str();
  char* end = nullptr;
  long long v = std::strtoll(begin, &end, 10);
  if (end == begin) return 0;
  if (errno == ERANGE) return v;  // clamped, as the platform clamps
  return v;
}

double parseLeadingDouble(const std::string& s) {
  const char* begin = s.c_str();
  while (std::isspace(static_cast<unsigned char>(*begin))) ++begin;
  // strtod also reads hexadecimal and "inf"/"nan"; the platform reads decimal only.
  const char* p = begin;
  if (*p == '+' || *p == '-') ++p;
  if (!std::isdigit(static_cast<unsigned char>(*p)) && *p != '.') return 0;
  if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) return 0;
  char* end = nullptr;
  double v = std::strtod(begin, &end);
  return end == begin ? 0 : v;
}

// "Y", "y", "T", "t" or a non-zero digit (after blanks, signs and leading zeros) is true.
bool parseBool(const std::string& s) {
  std::size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
  while (i < s.size() && s[i] == '0') ++i;
  if (i >= s.size()) return false;
  const char c = s[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}
}  // namespace

std::optional<OVNDate> OVNValue::date() const {
  if (auto p = std::get_if<OVNDate>(&storage_)) return *p;
  return std::nullopt;
}
OVNDataRef OVNValue::data() const { return getOrNull<OVNDataRef>(storage_); }
OVNArrayRef OVNValue::array() const { return getOrNull<OVNArrayRef>(storage_); }
OVNDictionaryRef OVNValue::dictionary() const { return getOrNull<OVNDictionaryRef>(storage_); }
OVNSetRef OVNValue::set() const { return getOrNull<OVNSetRef>(storage_); }
OVNOrderedSetRef OVNValue::orderedSet() const { return getOrNull<OVNOrderedSetRef>(storage_); }
OVNObjectRef OVNValue::object() const { return getOrNull<OVNObjectRef>(storage_); }
std::shared_ptr<const OVNBlock> OVNValue::block() const { return getOrNull<std::shared_ptr<const OVNBlock>>(storage_); }
std::shared_ptr<const OVNBoxedValue> OVNValue::boxed() const {
  return getOrNull<std::shared_ptr<const OVNBoxedValue>>(storage_);
}

std::optional<std::int64_t> OVNValue::longLongValue() const {
  if (auto n = number()) return n->longLongValue();
  if (auto s = string()) return parseLeadingInteger(*s);
  return std::nullopt;
}

std::optional<double> OVNValue::doubleValue() const {
  if (auto n = number()) return n->doubleValue();
  if (auto s = string()) return parseLeadingDouble(*s);
  return std::nullopt;
}

std::optional<bool> OVNValue::boolValue() const {
  if (auto n = number()) return n->boolValue();
  if (auto s = string()) return parseBool(*s);
  return std::nullopt;
}

std::string OVNValue::className() const {
  switch (kind()) {
    case OVNValueKind::Missing: return "nil";
    case OVNValueKind::Null: return "NSNull";
    case OVNValueKind::Number: return "NSNumber";
    case OVNValueKind::String: return "NSString";
    case OVNValueKind::Data: return "NSData";
    case OVNValueKind::Date: return "NSDate";
    case OVNValueKind::Array: return array()->isMutable() ? "NSMutableArray" : "NSArray";
    case OVNValueKind::Dictionary: return dictionary()->isMutable() ? "NSMutableDictionary" : "NSDictionary";
    case OVNValueKind::Set: return set()->isMutable() ? "NSMutableSet" : "NSSet";
    case OVNValueKind::OrderedSet: return orderedSet()->isMutable() ? "NSMutableOrderedSet" : "NSOrderedSet";
    case OVNValueKind::Object: return object()->className();
    case OVNValueKind::Block: return "NSBlock";
    case OVNValueKind::Boxed: return "NSValue";
  }
  return "nil";
}

bool OVNValue::isKindOfClassNamed(std::string_view name) const {
  const OVNClass* cls = OVNClass::named(name);
  return cls && cls->isInstance(*this);
}

std::string OVNValue::description() const {
  if (auto s = string()) return *s;
  return descriptionWithIndent(0);
}

std::string OVNValue::descriptionWithIndent(int level) const {
  switch (kind()) {
    case OVNValueKind::Missing: return "(null)";
    case OVNValueKind::Null: return "<null>";
    case OVNValueKind::Number: return number()->description();
    case OVNValueKind::String: return *string();
    case OVNValueKind::Data: return data()->description();
    case OVNValueKind::Date: return date()->description();
    case OVNValueKind::Array: return array()->descriptionWithIndent(level);
    case OVNValueKind::Dictionary: return dictionary()->descriptionWithIndent(level);
    case OVNValueKind::Set: return set()->descriptionWithIndent(level);
    case OVNValueKind::OrderedSet: return orderedSet()->descriptionWithIndent(level);
    case OVNValueKind::Object: return object()->description();
    case OVNValueKind::Block: return "<__NSMallocBlock__>";
    case OVNValueKind::Boxed: return "NSValue<" + boxed()->encoding() + ">";
  }
  return {};
}

bool OVNValue::isEqual(const OVNValue& other) const {
  if (kind() != other.kind()) return false;
  switch (kind()) {
    case OVNValueKind::Missing:
    case OVNValueKind::Null: return true;
    case OVNValueKind::Number: return *number() == *other.number();
    case OVNValueKind::String: return *string() == *other.string();
    case OVNValueKind::Data: return *data() == *other.data();
    case OVNValueKind::Date: return *date() == *other.date();
    case OVNValueKind::Array: return array() == other.array() || array()->isEqual(*other.array());
    case OVNValueKind::Dictionary:
      return dictionary() == other.dictionary() || dictionary()->isEqual(*other.dictionary());
    case OVNValueKind::Set: return set() == other.set() || set()->isEqual(*other.set());
    case OVNValueKind::OrderedSet:
      return orderedSet() == other.orderedSet() || orderedSet()->isEqual(*other.orderedSet());
    case OVNValueKind::Object: return object() == other.object() || object()->isEqual(*other.object());
    case OVNValueKind::Block: return block() == other.block();
    case OVNValueKind::Boxed: return *boxed() == *other.boxed();
  }
  return false;
}

std::size_t OVNValue::hash() const {
  switch (kind()) {
    case OVNValueKind::Missing: return 0;
    case OVNValueKind::Null: return 1;
    case OVNValueKind::Number: return number()->hash();
    case OVNValueKind::String: return std::hash<std::string>()(*string());
    case OVNValueKind::Data: return std::hash<std::string_view>()(data()->view());
    case OVNValueKind::Date: return std::hash<double>()(date()->timeIntervalSinceReferenceDate());
    case OVNValueKind::Array: return array()->hash();
    case OVNValueKind::Dictionary: return dictionary()->hash();
    case OVNValueKind::Set: return set()->hash();
    case OVNValueKind::OrderedSet: return orderedSet()->hash();
    case OVNValueKind::Object: return object()->hash();
    case OVNValueKind::Block: return std::hash<const void*>()(block().get());
    case OVNValueKind::Boxed: return boxed()->bytes().size();
  }
  return 0;
}

OVNValue OVNValue::copy() const {
  switch (kind()) {
    case OVNValueKind::Array: return array()->copy();
    case OVNValueKind::Dictionary: return dictionary()->copy();
    case OVNValueKind::Set: return set()->copy();
    case OVNValueKind::OrderedSet: return orderedSet()->copy();
    case OVNValueKind::Object: return object()->supportsCopying() ? OVNValue(object()->copy()) : *this;
    default: return *this;
  }
}

OVNValue OVNValue::mutableCopy() const {
  switch (kind()) {
    case OVNValueKind::Array: return array()->mutableCopy();
    case OVNValueKind::Dictionary: return dictionary()->mutableCopy();
    case OVNValueKind::Set: return set()->mutableCopy();
    case OVNValueKind::OrderedSet: return orderedSet()->mutableCopy();
    case OVNValueKind::Object:
      if (object()->supportsMutableCopying()) return OVNValue(object()->mutableCopy());
      return copy();
    default: return *this;
  }
}

OVNValue OVNValue::valueForKey(std::string_view key) const {
  switch (kind()) {
    case OVNValueKind::Dictionary: return dictionary()->objectForKey(key);
    case OVNValueKind::Object: return object()->valueForKey(key);
    case OVNValueKind::Array: {
      // As the platform does: the members' values, with the null marker for missing ones.
      std::vector<OVNValue> members;
      members.reserve(array()->count());
      for (const auto& member : *array()) {
        OVNValue v = member.valueForKey(key);
        members.push_back(v.isMissing() ? OVNValue::null() : v);
      }
      return OVNArray::make(std::move(members), false);
    }
    default: return {};
  }
}

OVNValue OVNValue::valueForKeyPath(std::string_view keyPath) const {
  const auto dot = keyPath.find('.');
  if (dot == std::string_view::npos) return valueForKey(keyPath);
  return valueForKey(keyPath.substr(0, dot)).valueForKeyPath(keyPath.substr(dot + 1));
}

// ---- description helpers ----------------------------------------------------------------

namespace ovn::detail {
std::string indentation(int level) { return std::string(static_cast<std::size_t>(std::max(level, 0)) * 4, ' '); }

std::string quotedIfNeeded(std::string_view text) {
  const bool plain = !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.' || c == '$' || c == '/' || c == ':';
  });
  if (plain) return std::string(text);
  std::string out = "\"";
  for (char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      case '\r': out += "\\r"; break;
      default: out += c;
    }
  }
  return out + "\"";
}

std::string memberDescription(const OVNValue& value, int level) {
  if (auto s = value.string()) return quotedIfNeeded(*s);
  if (value.isNull()) return "\"<null>\"";  // containers print the null marker quoted
  return value.descriptionWithIndent(level);
}
}  // namespace ovn::detail
