#include "Platform/Serialization/detail/OVNArchiveBinaryPlist.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {

OVNValue archiveUID(std::uint64_t uid) {
  return OVNDictionary::make({{std::string(kArchiveUIDKey), OVNValue(OVNNumber::unsignedInteger(uid))}}, false);
}

std::optional<std::uint64_t> archiveUIDValue(const OVNValue& value) {
  const OVNDictionary* dictionary = value.dictionary().get();
  if (!dictionary || dictionary->count() != 1) return std::nullopt;
  const OVNValue uid = dictionary->objectForKey(kArchiveUIDKey);
  const OVNNumber* number = uid.number();
  if (!number) return std::nullopt;
  switch (number->kind()) {
    case OVNNumberKind::Unsigned: return number->unsignedLongLongValue();
    case OVNNumberKind::Integer:
      if (number->longLongValue() < 0) return std::nullopt;
      return static_cast<std::uint64_t>(number->longLongValue());
    default: return std::nullopt;
  }
}

namespace {
constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;

std::uint64_t readBigEndian(const unsigned char* p, std::size_t n) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

void appendUTF8(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// ---- reading ------------------------------------------------------------------------------

class BinaryReader {
 public:
  BinaryReader(std::string_view bytes, bool mutableContainers)
      : data_(reinterpret_cast<const unsigned char*>(bytes.data())), size_(bytes.size()), mutable_(mutableContainers) {}

  OVNValue run(std::string* failure) {
    OVNValue result;
    std::uint64_t size = 0;
    if (!readTrailer() || !object(topObject_, 0, result, size)) {
      if (failure) *failure = failure_;
      return {};
    }
    return result;
  }

 private:
  bool fail(std::string reason) {
    if (failure_.empty()) failure_ = std::move(reason);
    return false;
  }

  bool readTrailer() {
    if (size_ < kMagic.size() + 1 + kTrailerSize) return fail("the data is too short");
    if (std::memcmp(data_, kMagic.data(), kMagic.size()) != 0) return fail("the header is not bplist00");
    end_ = size_ - kTrailerSize;
    const unsigned char* t = data_ + end_;
    offsetSize_ = t[6];
    refSize_ = t[7];
    objectCount_ = readBigEndian(t + 8, 8);
    topObject_ = readBigEndian(t + 16, 8);
    tableOffset_ = readBigEndian(t + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8)
      return fail("the trailer's sizes are invalid");
    if (objectCount_ == 0 || topObject_ >= objectCount_) return fail("the trailer's object count is invalid");
    if (tableOffset_ <= kMagic.size() || tableOffset_ >= end_) return fail("the offset table lies outside the data");
    if (objectCount_ > (end_ - tableOffset_) / offsetSize_) return fail("the offset table is truncated");
    return true;
  }

  // The count that follows a marker: in its low nibble, or (15) in an integer object after it.
  bool count(std::size_t& pos, unsigned info, std::uint64_t& out) {
    if (info != 0x0F) {
      out = info;
      return true;
    }
    if (pos >= end_) return fail("a count is truncated");
    const unsigned marker = data_[pos];
    if ((marker & 0xF0) != 0x10 || (marker & 0x0F) > 3) return fail("a count is not an integer");
    const std::size_t n = std::size_t{1} << (marker & 0x0F);
    if (end_ - pos - 1 < n) return fail("a count is truncated");
    out = readBigEndian(data_ + pos + 1, n);
    pos += 1 + n;
    return true;
  }

  // Whether `units` items of `unitSize` bytes fit between `pos` and the trailer.
  bool fits(std::size_t pos, std::uint64_t units, std::size_t unitSize) const {
    return pos <= end_ && units <= (end_ - pos) / unitSize;
  }

  // The object at `index`, and in `size` how many values it expands to.
  bool object(std::uint64_t index, int depth, OVNValue& out, std::uint64_t& size) {
    if (auto it = done_.find(index); it != done_.end()) {
      out = it->second.value;
      size = it->second.size;
      return true;
    }
    if (!active_.insert(index).second) return fail("an object contains itself");
    size = 1;
    const bool ok = parse(index, depth, out, size);
    active_.erase(index);
    if (!ok) return false;
    if (size > kPropertyListMaxExpandedValues) return fail("shared references expand to too many values");
    done_.emplace(index, Parsed{out, size});
    return true;
  }

  bool parse(std::uint64_t index, int depth, OVNValue& out, std::uint64_t& size) {
    const std::uint64_t offset = readBigEndian(data_ + tableOffset_ + index * offsetSize_, offsetSize_);
    if (offset < kMagic.size() || offset >= end_)
      return fail("object " + std::to_string(index) + " lies outside the data");
    std::size_t pos = static_cast<std::size_t>(offset);
    const unsigned marker = data_[pos++];
    const unsigned info = marker & 0x0F;
    switch (marker >> 4) {
      case 0x0:
        if (info == 0x8 || info == 0x9) {
          out = OVNValue(info == 0x9);
          return true;
        }
        return fail("object " + std::to_string(index) + " has an unsupported type");
      case 0x1: return integer(pos, info, out);
      case 0x2: {
        if (info != 2 && info != 3) return fail("a real has an invalid size");
        const std::size_t n = std::size_t{1} << info;
        if (!fits(pos, n, 1)) return fail("a real is truncated");
        if (n == 4) {
          const auto bits = static_cast<std::uint32_t>(readBigEndian(data_ + pos, 4));
          float f;
          std::memcpy(&f, &bits, sizeof f);
          out = OVNValue(static_cast<double>(f));
        } else {
          out = OVNValue(realAt(pos));
        }
        return true;
      }
      case 0x3:
        if (info != 3 || !fits(pos, 8, 1)) return fail("a date is malformed");
        out = OVNValue(OVNDate(realAt(pos)));
        return true;
      case 0x4: {
        std::uint64_t n;
        if (!count(pos, info, n)) return false;
        if (!fits(pos, n, 1)) return fail("data is truncated");
        out = OVNValue(OVNData::make(std::vector<std::uint8_t>(data_ + pos, data_ + pos + n)));
        return true;
      }
      case 0x5: {
        std::uint64_t n;
        if (!count(pos, info, n)) return false;
        if (!fits(pos, n, 1)) return fail("a string is truncated");
        std::string text;
        text.reserve(n);
        for (std::uint64_t i = 0; i < n; ++i) appendUTF8(text, data_[pos + i]);  // bytes above 0x7F as Latin-1
        out = OVNValue(std::move(text));
        return true;
      }
      case 0x6: {
        std::uint64_t n;
        if (!count(pos, info, n)) return false;
        if (!fits(pos, n, 2)) return fail("a string is truncated");
        out = OVNValue(utf16(pos, n));
        return true;
      }
      case 0x8: {
        const std::size_t n = info + 1;
        if (n > 8 || !fits(pos, n, 1)) return fail("a reference (UID) is malformed");
        out = archiveUID(readBigEndian(data_ + pos, n));
        return true;
      }
      case 0xA: return array(pos, info, depth, out, size);
      case 0xD: return dictionary(pos, info, depth, out, size);
      default: return fail("object " + std::to_string(index) + " has an unsupported type");
    }
  }

  double realAt(std::size_t pos) const {
    const std::uint64_t bits = readBigEndian(data_ + pos, 8);
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
  }

  bool integer(std::size_t pos, unsigned info, OVNValue& out) {
    if (info > 4) return fail("an integer has an invalid size");
    const std::size_t n = std::size_t{1} << info;
    if (!fits(pos, n, 1)) return fail("an integer is truncated");
    if (n < 8) {  // 1, 2 and 4 bytes are unsigned
      out = OVNValue(static_cast<long long>(readBigEndian(data_ + pos, n)));
    } else if (n == 8) {
      out = OVNValue(static_cast<long long>(readBigEndian(data_ + pos, 8)));
    } else {  // 128 bits: what fits in 64 bits, signed or unsigned
      const std::uint64_t high = readBigEndian(data_ + pos, 8);
      const std::uint64_t low = readBigEndian(data_ + pos + 8, 8);
      const bool negative = static_cast<std::int64_t>(low) < 0;
      if (high == 0) {
        out = negative ? OVNValue(OVNNumber::unsignedInteger(low)) : OVNValue(static_cast<long long>(low));
      } else if (high == std::numeric_limits<std::uint64_t>::max() && negative) {
        out = OVNValue(static_cast<long long>(low));
      } else {
        return fail("an integer does not fit in 64 bits");
      }
    }
    return true;
  }

  std::string utf16(std::size_t pos, std::uint64_t units) const {
    std::string text;
    text.reserve(units);
    for (std::uint64_t i = 0; i < units; ++i) {
      std::uint32_t c = static_cast<std::uint32_t>(readBigEndian(data_ + pos + 2 * i, 2));
      if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units) {
        const auto next = static_cast<std::uint32_t>(readBigEndian(data_ + pos + 2 * (i + 1), 2));
        if (next >= 0xDC00 && next <= 0xDFFF) {
          c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
          ++i;
        }
      }
      if (c >= 0xD800 && c <= 0xDFFF) c = 0xFFFD;  // a lone surrogate has no UTF-8 form
      appendUTF8(text, c);
    }
    return text;
  }

  bool reference(std::size_t pos, std::uint64_t& index) {
    index = readBigEndian(data_ + pos, refSize_);
    if (index >= objectCount_) return fail("a reference points past the last object");
    return true;
  }

  static void grow(std::uint64_t& size, std::uint64_t by) {
    size = std::min(size + by, kPropertyListMaxExpandedValues + 1);  // saturates: never wraps
  }

  bool array(std::size_t pos, unsigned info, int depth, OVNValue& out, std::uint64_t& size) {
    if (depth >= kPropertyListMaxDepth) return fail("containers are nested too deeply");
    std::uint64_t n;
    if (!count(pos, info, n)) return false;
    if (!fits(pos, n, refSize_)) return fail("an array is truncated");
    std::vector<OVNValue> members;
    members.reserve(n);
    for (std::uint64_t i = 0; i < n; ++i) {
      std::uint64_t ref, memberSize;
      OVNValue member;
      if (!reference(pos + i * refSize_, ref) || !object(ref, depth + 1, member, memberSize)) return false;
      grow(size, memberSize);
      members.push_back(std::move(member));
    }
    out = OVNValue(std::make_shared<OVNArray>(std::move(members), mutable_));
    return true;
  }

  bool dictionary(std::size_t pos, unsigned info, int depth, OVNValue& out, std::uint64_t& size) {
    if (depth >= kPropertyListMaxDepth) return fail("containers are nested too deeply");
    std::uint64_t n;
    if (!count(pos, info, n)) return false;
    if (n > std::numeric_limits<std::uint64_t>::max() / 2 || !fits(pos, 2 * n, refSize_)) {
      return fail("a dictionary is truncated");
    }
    OVNDictionary::Storage entries;
    for (std::uint64_t i = 0; i < n; ++i) {
      std::uint64_t keyRef, valueRef, keySize, valueSize;
      OVNValue key, value;
      if (!reference(pos + i * refSize_, keyRef) || !object(keyRef, depth + 1, key, keySize)) return false;
      if (!key.isString()) return fail("a dictionary key is not a string");
      if (!reference(pos + (n + i) * refSize_, valueRef) || !object(valueRef, depth + 1, value, valueSize))
        return false;
      grow(size, keySize + valueSize);
      entries.insert_or_assign(*key.string(), std::move(value));
    }
    out = OVNValue(std::make_shared<OVNDictionary>(std::move(entries), mutable_));
    return true;
  }

  const unsigned char* data_;
  std::size_t size_;
  bool mutable_;
  std::size_t end_ = 0;  // where the trailer starts: nothing is read at or past it
  unsigned offsetSize_ = 0;
  unsigned refSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t topObject_ = 0;
  std::uint64_t tableOffset_ = 0;
  struct Parsed {
    OVNValue value;
    std::uint64_t size;
  };
  std::unordered_map<std::uint64_t, Parsed> done_;
  std::unordered_set<std::uint64_t> active_;
  std::string failure_;
};

// ---- writing ------------------------------------------------------------------------------

class BinaryWriter {
 public:
  std::optional<std::vector<std::uint8_t>> run(const OVNValue& root) {
    if (!flatten(root)) return std::nullopt;
    const std::size_t refSize = bytesFor(objects_.size() - 1);
    out_.assign(kMagic.begin(), kMagic.end());
    std::vector<std::uint64_t> offsets;
    offsets.reserve(objects_.size());
    for (const Object& object : objects_) {
      offsets.push_back(out_.size());
      write(object, refSize);
    }
    const std::uint64_t tableOffset = out_.size();
    const std::size_t offsetSize = bytesFor(tableOffset);
    for (std::uint64_t offset : offsets) appendBigEndian(offset, offsetSize);
    out_.insert(out_.end(), 6, 0);  // unused, sort version
    out_.push_back(static_cast<std::uint8_t>(offsetSize));
    out_.push_back(static_cast<std::uint8_t>(refSize));
    appendBigEndian(objects_.size(), 8);
    appendBigEndian(0, 8);  // the top object is always the first
    appendBigEndian(tableOffset, 8);
    return std::move(out_);
  }

 private:
  enum class Kind { String, Number, Date, Data, UID, Array, Dictionary };
  struct Object {
    Kind kind;
    std::string_view text;
    OVNNumber number;
    double date = 0;
    const OVNData* data = nullptr;
    std::uint64_t uid = 0;
    std::vector<std::size_t> refs;  // arrays: members; dictionaries: keys, then values
  };

  static std::size_t bytesFor(std::uint64_t max) {
    if (max <= 0xFF) return 1;
    if (max <= 0xFFFF) return 2;
    if (max <= 0xFFFFFFFFu) return 4;
    return 8;
  }

  std::size_t add(Object object) {
    objects_.push_back(std::move(object));
    return objects_.size() - 1;
  }

  std::size_t string(std::string_view text) {
    auto [it, inserted] = strings_.try_emplace(text, objects_.size());
    if (inserted) add(Object{Kind::String, text, {}, 0, nullptr, 0, {}});
    return it->second;
  }

  std::optional<std::size_t> flatten(const OVNValue& value) {
    if (auto uid = archiveUIDValue(value)) {
      auto [it, inserted] = uids_.try_emplace(*uid, objects_.size());
      if (inserted) add(Object{Kind::UID, {}, {}, 0, nullptr, *uid, {}});
      return it->second;
    }
    switch (value.kind()) {
      case OVNValueKind::String: return string(*value.string());
      case OVNValueKind::Number: {
        const OVNNumber n = *value.number();
        std::uint64_t bits = n.unsignedLongLongValue();
        if (n.isFloating()) {
          const double d = n.doubleValue();
          std::memcpy(&bits, &d, sizeof bits);
        }
        auto [it, inserted] = numbers_.try_emplace({static_cast<int>(n.kind()), bits}, objects_.size());
        if (inserted) add(Object{Kind::Number, {}, n, 0, nullptr, 0, {}});
        return it->second;
      }
      case OVNValueKind::Date: {
        const double d = value.date()->timeIntervalSinceReferenceDate();
        std::uint64_t bits;
        std::memcpy(&bits, &d, sizeof bits);
        auto [it, inserted] = dates_.try_emplace(bits, objects_.size());
        if (inserted) add(Object{Kind::Date, {}, {}, d, nullptr, 0, {}});
        return it->second;
      }
      case OVNValueKind::Data: {
        const OVNData* data = value.data().get();
        auto [it, inserted] = shared_.try_emplace(data, objects_.size());
        if (inserted) add(Object{Kind::Data, {}, {}, 0, data, 0, {}});
        return it->second;
      }
      case OVNValueKind::Array: {
        const OVNArray* array = value.array().get();
        if (auto it = shared_.find(array); it != shared_.end()) return it->second;
        const std::size_t index = add(Object{Kind::Array, {}, {}, 0, nullptr, 0, {}});
        shared_.emplace(array, index);
        std::vector<std::size_t> refs;
        refs.reserve(array->count());
        for (const OVNValue& member : *array) {
          auto ref = flatten(member);
          if (!ref) return std::nullopt;
          refs.push_back(*ref);
        }
        objects_[index].refs = std::move(refs);
        return index;
      }
      case OVNValueKind::Dictionary: {
        const OVNDictionary* dictionary = value.dictionary().get();
        if (auto it = shared_.find(dictionary); it != shared_.end()) return it->second;
        const std::size_t index = add(Object{Kind::Dictionary, {}, {}, 0, nullptr, 0, {}});
        shared_.emplace(dictionary, index);
        std::vector<std::size_t> refs(2 * dictionary->count());
        std::size_t i = 0;
        for (const auto& [key, member] : *dictionary) {
          refs[i] = string(key);
          auto ref = flatten(member);
          if (!ref) return std::nullopt;
          refs[dictionary->count() + i++] = *ref;
        }
        objects_[index].refs = std::move(refs);
        return index;
      }
      default: return std::nullopt;  // refused earlier by the validity check
    }
  }

  void appendBigEndian(std::uint64_t v, std::size_t n) {
    for (std::size_t i = n; i-- > 0;) out_.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  }

  void appendInteger(std::uint64_t v) {  // non-negative, as counts are
    const std::size_t n = bytesFor(v);
    out_.push_back(static_cast<std::uint8_t>(0x10 | (n == 1 ? 0 : n == 2 ? 1 : n == 4 ? 2 : 3)));
    appendBigEndian(v, n);
  }

  void appendMarker(unsigned type, std::uint64_t count) {
    if (count < 15) {
      out_.push_back(static_cast<std::uint8_t>((type << 4) | count));
    } else {
      out_.push_back(static_cast<std::uint8_t>((type << 4) | 0x0F));
      appendInteger(count);
    }
  }

  void appendReal(std::uint8_t marker, double d) {
    std::uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    out_.push_back(marker);
    appendBigEndian(bits, 8);
  }

  void write(const Object& object, std::size_t refSize) {
    switch (object.kind) {
      case Kind::String: writeString(object.text); break;
      case Kind::Number: writeNumber(object.number); break;
      case Kind::Date: appendReal(0x33, object.date); break;
      case Kind::Data:
        appendMarker(0x4, object.data->length());
        out_.insert(out_.end(), object.data->bytes().begin(), object.data->bytes().end());
        break;
      case Kind::UID: {
        const std::size_t n = bytesFor(object.uid);
        out_.push_back(static_cast<std::uint8_t>(0x80 | (n - 1)));
        appendBigEndian(object.uid, n);
        break;
      }
      case Kind::Array:
      case Kind::Dictionary:
        appendMarker(object.kind == Kind::Array ? 0xA : 0xD,
                     object.kind == Kind::Array ? object.refs.size() : object.refs.size() / 2);
        for (std::size_t ref : object.refs) appendBigEndian(ref, refSize);
        break;
    }
  }

  void writeNumber(const OVNNumber& n) {
    switch (n.kind()) {
      case OVNNumberKind::Boolean: out_.push_back(n.boolValue() ? 0x09 : 0x08); return;
      case OVNNumberKind::Floating: appendReal(0x23, n.doubleValue()); return;
      case OVNNumberKind::Unsigned:
        if (n.unsignedLongLongValue() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
          out_.push_back(0x14);  // beyond the signed range: 128 bits, high half zero
          appendBigEndian(0, 8);
          appendBigEndian(n.unsignedLongLongValue(), 8);
          return;
        }
        [[fallthrough]];
      case OVNNumberKind::Integer: {
        const std::int64_t v = n.longLongValue();
        if (v < 0) {
          out_.push_back(0x13);
          appendBigEndian(static_cast<std::uint64_t>(v), 8);
        } else {
          appendInteger(static_cast<std::uint64_t>(v));
        }
        return;
      }
    }
  }

  void writeString(std::string_view text) {
    bool ascii = true;
    for (unsigned char c : text) ascii = ascii && c < 0x80;
    if (ascii) {
      appendMarker(0x5, text.size());
      out_.insert(out_.end(), text.begin(), text.end());
      return;
    }
    std::vector<std::uint16_t> units;  // the text is known to be well-formed UTF-8
    for (std::size_t i = 0; i < text.size();) {
      const auto c = static_cast<unsigned char>(text[i]);
      const std::size_t length = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
      std::uint32_t cp = length == 1 ? c : length == 2 ? (c & 0x1F) : length == 3 ? (c & 0x0F) : (c & 0x07);
      for (std::size_t k = 1; k < length; ++k) cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
      i += length;
      if (cp >= 0x10000) {
        cp -= 0x10000;
        units.push_back(static_cast<std::uint16_t>(0xD800 + (cp >> 10)));
        units.push_back(static_cast<std::uint16_t>(0xDC00 + (cp & 0x3FF)));
      } else {
        units.push_back(static_cast<std::uint16_t>(cp));
      }
    }
    appendMarker(0x6, units.size());
    for (std::uint16_t unit : units) appendBigEndian(unit, 2);
  }

  std::vector<Object> objects_;
  std::unordered_map<std::string_view, std::size_t> strings_;
  std::map<std::pair<int, std::uint64_t>, std::size_t> numbers_;
  std::unordered_map<std::uint64_t, std::size_t> dates_;
  std::unordered_map<std::uint64_t, std::size_t> uids_;
  std::unordered_map<const void*, std::size_t> shared_;
  std::vector<std::uint8_t> out_;
};
}  // namespace

bool looksLikeBinaryPropertyList(std::string_view bytes) { return bytes.substr(0, 6) == "bplist"; }

OVNValue readBinaryPropertyList(std::string_view bytes, bool mutableContainers, std::string* failure) {
  if (bytes.size() > kPropertyListMaxBytes) {
    if (failure) *failure = "the data is larger than the property-list limit";
    return {};
  }
  return BinaryReader(bytes, mutableContainers).run(failure);
}

std::optional<std::vector<std::uint8_t>> writeBinaryPropertyList(const OVNValue& value) {
  return BinaryWriter().run(value);
}

}  // namespace ovn::detail
