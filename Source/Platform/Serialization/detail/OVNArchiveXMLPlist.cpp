#include "Platform/Serialization/detail/OVNArchiveXMLPlist.h"

#include <plist/plist.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "Platform/Serialization/detail/OVNArchiveBinaryPlist.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {
namespace {
struct NodeFree {
  void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeFree>;

// Whether elements nest deeper than `limit`. Comments, CDATA sections, declarations and
// processing instructions are skipped whole; the estimate only has to bound the depth that
// libplist's recursive code will meet.
bool nestsDeeperThan(std::string_view text, int limit) {
  int depth = 0;
  std::size_t i = 0;
  auto skipPast = [&](std::string_view terminator, std::size_t from) {
    const std::size_t end = text.find(terminator, from);
    i = end == std::string_view::npos ? text.size() : end + terminator.size();
  };
  while ((i = text.find('<', i)) != std::string_view::npos) {
    const std::string_view rest = text.substr(i);
    if (rest.substr(0, 4) == "<!--") {
      skipPast("-->", i + 4);
    } else if (rest.substr(0, 9) == "<![CDATA[") {
      skipPast("]]>", i + 9);
    } else if (rest.substr(0, 2) == "<?" || rest.substr(0, 2) == "<!") {
      skipPast(">", i + 2);
    } else if (rest.substr(0, 2) == "</") {
      --depth;
      skipPast(">", i + 2);
    } else {
      const std::size_t end = text.find('>', i + 1);
      if (end == std::string_view::npos) return false;  // unterminated: libplist refuses it
      if (text[end - 1] != '/' && ++depth > limit) return true;
      i = end + 1;
    }
  }
  return false;
}

class XMLReader {
 public:
  explicit XMLReader(bool mutableContainers) : mutable_(mutableContainers) {}

  bool convert(plist_t node, int depth, OVNValue& out) {
    const plist_type type = plist_get_node_type(node);
    if ((type == PLIST_ARRAY || type == PLIST_DICT) && depth >= kPropertyListMaxDepth) {
      return fail("containers are nested too deeply");
    }
    switch (type) {
      case PLIST_BOOLEAN: {
        std::uint8_t b = 0;
        plist_get_bool_val(node, &b);
        out = OVNValue(b != 0);
        return true;
      }
      case PLIST_UINT: return integer(node, out);
      case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        out = OVNValue(d);
        return true;
      }
      case PLIST_STRING: {
        const char* text = plist_get_string_ptr(node, nullptr);
        if (!text) return fail("a string is unreadable");
        std::string value(text);  // XML cannot hold NUL, so the terminator ends the text
        if (!OVNString::isValidUTF8(value)) return fail("a string is not valid UTF-8");
        out = OVNValue(std::move(value));
        return true;
      }
      case PLIST_DATA: {
        std::uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        if (!bytes && length) return fail("data is unreadable");
        out = OVNValue(OVNData::make(std::vector<std::uint8_t>(bytes, bytes + length)));
        return true;
      }
      case PLIST_DATE: return date(node, out);
      case PLIST_UID: {
        std::uint64_t uid = 0;
        plist_get_uid_val(node, &uid);
        out = archiveUID(uid);
        return true;
      }
      case PLIST_ARRAY: {
        const std::uint32_t count = plist_array_get_size(node);
        std::vector<OVNValue> members;
        members.reserve(count);
        for (std::uint32_t i = 0; i < count; ++i) {
          plist_t item = plist_array_get_item(node, i);
          OVNValue member;
          if (!item || !convert(item, depth + 1, member)) return fail("an array member is unreadable");
          members.push_back(std::move(member));
        }
        out = OVNValue(std::make_shared<OVNArray>(std::move(members), mutable_));
        return true;
      }
      case PLIST_DICT: return dictionary(node, depth, out);
      default: return fail("an element has an unsupported type");
    }
  }

  const std::string& failure() const { return failure_; }

 private:
  bool fail(std::string reason) {
    if (failure_.empty()) failure_ = std::move(reason);
    return false;
  }

  // libplist keeps whether an integer was written unsigned (above the signed range) in a
  // flag it does not expose; comparing with a plain (signed) node of the same bits shows it.
  bool integer(plist_t node, OVNValue& out) {
    std::uint64_t bits = 0;
    plist_get_uint_val(node, &bits);
    if (bits <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      out = OVNValue(static_cast<long long>(bits));
      return true;
    }
    Node plain(plist_new_uint(bits));
    const bool isSigned = plain && plist_compare_node_value(node, plain.get());
    out = isSigned ? OVNValue(static_cast<long long>(bits)) : OVNValue(OVNNumber::unsignedInteger(bits));
    return true;
  }

  // libplist's date accessor is limited to 32-bit seconds; its binary form holds the whole
  // value, so the date is written there and read back with our reader.
  bool date(plist_t node, OVNValue& out) {
    Node copy(plist_copy(node));
    char* bytes = nullptr;
    std::uint32_t length = 0;
    if (copy) plist_to_bin(copy.get(), &bytes, &length);
    if (!bytes) return fail("a date is unreadable");
    std::string reason;
    out = readBinaryPropertyList(std::string_view(bytes, length), false, &reason);
    plist_to_bin_free(bytes);
    if (!out.isDate()) return fail("a date is unreadable");
    return true;
  }

  bool dictionary(plist_t node, int depth, OVNValue& out) {
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    if (!iter) return fail("a dictionary is unreadable");
    OVNDictionary::Storage entries;
    bool ok = true;
    while (ok) {
      char* key = nullptr;
      plist_t item = nullptr;
      plist_dict_next_item(node, iter, &key, &item);
      if (!item) {
        std::free(key);
        break;
      }
      std::string keyText = key ? key : "";
      std::free(key);
      OVNValue member;
      if (!OVNString::isValidUTF8(keyText)) {
        ok = fail("a dictionary key is not valid UTF-8");
      } else if (convert(item, depth + 1, member)) {
        entries.insert_or_assign(std::move(keyText), std::move(member));
      } else {
        ok = false;
      }
    }
    std::free(iter);
    if (!ok) return false;
    out = OVNValue(std::make_shared<OVNDictionary>(std::move(entries), mutable_));
    return true;
  }

  bool mutable_;
  std::string failure_;
};

// A libplist node for a scalar made from our binary form: how dates outside 32-bit seconds
// and unsigned integers above the signed range get into libplist exactly.
plist_t nodeThroughBinary(const OVNValue& scalar) {
  auto bytes = writeBinaryPropertyList(scalar);
  if (!bytes) return nullptr;
  plist_t node = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(bytes->data()), static_cast<std::uint32_t>(bytes->size()), &node);
  return node;
}

plist_t build(const OVNValue& value) {
  switch (value.kind()) {
    case OVNValueKind::String: return plist_new_string(value.string()->c_str());
    case OVNValueKind::Number: {
      const OVNNumber n = *value.number();
      switch (n.kind()) {
        case OVNNumberKind::Boolean: return plist_new_bool(n.boolValue() ? 1 : 0);
        case OVNNumberKind::Floating: return plist_new_real(n.doubleValue());
        case OVNNumberKind::Integer: return plist_new_uint(static_cast<std::uint64_t>(n.longLongValue()));
        case OVNNumberKind::Unsigned:
          if (n.unsignedLongLongValue() <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return plist_new_uint(n.unsignedLongLongValue());
          }
          return nodeThroughBinary(value);
      }
      return nullptr;
    }
    case OVNValueKind::Date: return nodeThroughBinary(value);
    case OVNValueKind::Data: {
      const auto& bytes = value.data()->bytes();
      static const char empty = 0;
      return plist_new_data(bytes.empty() ? &empty : reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    case OVNValueKind::Array: {
      Node array(plist_new_array());
      for (const OVNValue& member : *value.array()) {
        plist_t item = build(member);
        if (!item) return nullptr;
        plist_array_append_item(array.get(), item);
      }
      return array.release();
    }
    case OVNValueKind::Dictionary: {
      Node dictionary(plist_new_dict());
      for (const auto& [key, member] : *value.dictionary()) {
        plist_t item = build(member);
        if (!item) return nullptr;
        plist_dict_set_item(dictionary.get(), key.c_str(), item);
      }
      return dictionary.release();
    }
    default: return nullptr;  // refused earlier by the validity check
  }
}
}  // namespace

OVNValue readXMLPropertyList(std::string_view bytes, bool mutableContainers, std::string* failure) {
  auto refuse = [&](std::string reason) {
    if (failure) *failure = std::move(reason);
    return OVNValue();
  };
  if (bytes.size() > kPropertyListMaxBytes || bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    return refuse("the data is larger than the property-list limit");
  }
  // The root element and a scalar leaf add two levels to the containers' depth.
  if (nestsDeeperThan(bytes, kPropertyListMaxDepth + 2)) return refuse("containers are nested too deeply");
  plist_t root = nullptr;
  plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  if (!root) return refuse("the XML is not a well-formed property list");
  Node owner(root);
  XMLReader reader(mutableContainers);
  OVNValue result;
  if (!reader.convert(root, 0, result)) return refuse(reader.failure());
  return result;
}

std::optional<std::vector<std::uint8_t>> writeXMLPropertyList(const OVNValue& value) {
  Node root(build(value));
  if (!root) return std::nullopt;
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.get(), &xml, &length);
  if (!xml) return std::nullopt;
  std::vector<std::uint8_t> bytes(xml, xml + length);
  plist_to_xml_free(xml);
  return bytes;
}

}  // namespace ovn::detail
