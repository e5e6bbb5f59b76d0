#include "Platform/Serialization/OVNPropertyListSerialization.h"

#include <algorithm>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Platform/Objects/OVNError.h"
#include "Platform/Serialization/detail/OVNArchiveBinaryPlist.h"
#include "Platform/Serialization/detail/OVNArchiveXMLPlist.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

namespace {
void report(std::shared_ptr<OVNError>* error, std::int64_t code, const std::string& description,
            const std::string& detail) {
  if (!error) return;
  *error =
      OVNError::errorWithDomain(OVNCocoaErrorDomain, code,
                                OVNDictionary::make({{std::string(OVNLocalizedDescriptionKey), OVNValue(description)},
                                                     {std::string(OVNDebugDescriptionErrorKey), OVNValue(detail)}}));
}

// Why a value cannot be written in a format. Containers are visited once each (a value
// may share them many times over); for XML, which writes every reference out in full,
// the expanded size is counted too.
class ValidityCheck {
 public:
  explicit ValidityCheck(int format) : format_(format) {}

  std::optional<std::string> problem(const OVNValue& value) {
    std::uint64_t size = 0;
    return check(value, 0, size);
  }

 private:
  std::optional<std::string> text(const std::string& value) const {
    if (!OVNString::isValidUTF8(value)) return "a string is not valid UTF-8";
    if (format_ == OVNPropertyListXMLFormat_v1_0 && value.find('\0') != std::string::npos) {
      return "XML cannot hold a string with a NUL character";
    }
    return std::nullopt;
  }

  template <class Members>
  std::optional<std::string> container(const void* identity, int depth, std::uint64_t& size, Members&& members) {
    if (auto it = sizes_.find(identity); it != sizes_.end()) {
      size = it->second;
      return std::nullopt;
    }
    if (depth >= ovn::detail::kPropertyListMaxDepth) {
      return OVNFormat("containers are nested more than %d levels deep", ovn::detail::kPropertyListMaxDepth);
    }
    if (!active_.insert(identity).second) return std::string("a container contains itself");
    size = 1;
    std::optional<std::string> problem = members(size);
    active_.erase(identity);
    if (!problem && format_ == OVNPropertyListXMLFormat_v1_0 && size > ovn::detail::kPropertyListMaxXMLValues) {
      problem = OVNFormat("XML would write shared containers out to more than %llu values",
                          static_cast<unsigned long long>(ovn::detail::kPropertyListMaxXMLValues));
    }
    if (!problem) sizes_.emplace(identity, size);
    return problem;
  }

  std::optional<std::string> check(const OVNValue& value, int depth, std::uint64_t& size) {
    size = 1;
    const bool openStep = format_ == OVNPropertyListOpenStepFormat;
    switch (value.kind()) {
      case OVNValueKind::String: return text(*value.string());
      case OVNValueKind::Data: return std::nullopt;
      case OVNValueKind::Number:
      case OVNValueKind::Date:
        if (!openStep) return std::nullopt;
        break;
      case OVNValueKind::Array: {
        const OVNArray& array = *value.array();
        return container(&array, depth, size, [&](std::uint64_t& total) -> std::optional<std::string> {
          for (const OVNValue& member : array) {
            std::uint64_t memberSize = 0;
            if (auto problem = check(member, depth + 1, memberSize)) return problem;
            total = std::min(total + memberSize, ovn::detail::kPropertyListMaxXMLValues + 1);
          }
          return std::nullopt;
        });
      }
      case OVNValueKind::Dictionary: {
        const OVNDictionary& dictionary = *value.dictionary();
        return container(&dictionary, depth, size, [&](std::uint64_t& total) -> std::optional<std::string> {
          for (const auto& [key, member] : dictionary) {
            std::uint64_t memberSize = 0;
            if (auto problem = text(key)) return problem;
            if (auto problem = check(member, depth + 1, memberSize)) return problem;
            total = std::min(total + memberSize + 1, ovn::detail::kPropertyListMaxXMLValues + 1);
          }
          return std::nullopt;
        });
      }
      case OVNValueKind::Missing: return std::string("property lists cannot contain missing values (nil)");
      default: break;
    }
    return OVNFormat("property lists cannot contain objects of type '%@'", value.className());
  }

  int format_;
  std::unordered_set<const void*> active_;                // being walked: meeting one again is a cycle
  std::unordered_map<const void*, std::uint64_t> sizes_;  // found valid, with their expanded sizes
};

bool startsLikeXML(std::string_view bytes) {
  if (bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);  // UTF-8 byte-order mark
  const std::size_t first = bytes.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && bytes[first] == '<';
}
}  // namespace

OVNValue OVNPropertyListSerialization::propertyListWithData(const OVNData& data, int options, int* format,
                                                            std::shared_ptr<OVNError>* error) {
  const std::string_view bytes = data.view();
  const bool mutableContainers = options != OVNPropertyListImmutable;
  std::string failure;
  OVNValue result;
  int found = 0;
  if (ovn::detail::looksLikeBinaryPropertyList(bytes)) {
    found = OVNPropertyListBinaryFormat_v1_0;
    result = ovn::detail::readBinaryPropertyList(bytes, mutableContainers, &failure);
  } else if (startsLikeXML(bytes)) {
    found = OVNPropertyListXMLFormat_v1_0;
    result = ovn::detail::readXMLPropertyList(bytes, mutableContainers, &failure);
  } else {
    failure = bytes.empty() ? "the data is empty" : "the data is neither an XML nor a binary property list";
  }
  if (result.isMissing()) {
    const std::string detail = (found == OVNPropertyListBinaryFormat_v1_0 ? "binary property list: "
                                : found == OVNPropertyListXMLFormat_v1_0  ? "XML property list: "
                                                                          : "") +
                               failure;
    report(error, OVNPropertyListReadCorruptError,
           "The data couldn\u2019t be read because it isn\u2019t in the correct format (" + detail + ").", detail);
    return {};
  }
  if (format) *format = found;
  return result;
}

OVNDataRef OVNPropertyListSerialization::dataWithPropertyList(const OVNValue& plist, int format, int options,
                                                              std::shared_ptr<OVNError>* error) {
  auto refuse = [&](const std::string& reason) -> OVNDataRef {
    const std::string text = OVNFormat("Property list invalid for format: %d (%@)", format, reason);
    report(error, OVNPropertyListWriteInvalidError, text, reason);
    return nullptr;
  };
  if (format != OVNPropertyListXMLFormat_v1_0 && format != OVNPropertyListBinaryFormat_v1_0) {
    return refuse(format == OVNPropertyListOpenStepFormat ? "the OpenStep format cannot be written" : "unknown format");
  }
  if (auto problem = ValidityCheck(format).problem(plist)) return refuse(*problem);
  auto bytes = format == OVNPropertyListBinaryFormat_v1_0 ? ovn::detail::writeBinaryPropertyList(plist)
                                                          : ovn::detail::writeXMLPropertyList(plist);
  if (!bytes) return refuse("the writer failed");
  return OVNData::make(std::move(*bytes));
}

bool OVNPropertyListSerialization::propertyList(const OVNValue& plist, int format) {
  if (format != OVNPropertyListOpenStepFormat && format != OVNPropertyListXMLFormat_v1_0 &&
      format != OVNPropertyListBinaryFormat_v1_0) {
    return false;
  }
  return !ValidityCheck(format).problem(plist).has_value();
}
