#include "Platform/OVNPropertyListSerialization.h"

#include <optional>
#include <string>
#include <vector>

#include "Platform/OVNArray.h"
#include "Platform/OVNData.h"
#include "Platform/OVNDictionary.h"
#include "Platform/OVNError.h"
#include "Platform/OVNFormat.h"
#include "Platform/OVNString.h"
#include "Platform/detail/OVNArchiveBinaryPlist.h"
#include "Platform/detail/OVNArchiveXMLPlist.h"

namespace {
void report(std::shared_ptr<OVNError>* error, std::int64_t code, const std::string& description,
            const std::string& detail) {
  if (!error) return;
  *error = OVNError::errorWithDomain(
      OVNCocoaErrorDomain, code,
      OVNDictionary::make({{std::string(OVNLocalizedDescriptionKey), OVNValue(description)},
                           {std::string(OVNDebugDescriptionErrorKey), OVNValue(detail)}}));
}

// Why `value` cannot be written in `format`, or nothing when it can. `ancestors` holds the
// containers being walked, to refuse one that contains itself.
std::optional<std::string> invalidity(const OVNValue& value, int format, int depth,
                                      std::vector<const void*>& ancestors) {
  const bool openStep = format == OVNPropertyListOpenStepFormat;
  auto badText = [&](const std::string& text) -> std::optional<std::string> {
    if (!OVNString::isValidUTF8(text)) return "a string is not valid UTF-8";
    if (format == OVNPropertyListXMLFormat_v1_0 && text.find('\0') != std::string::npos) {
      return "XML cannot hold a string with a NUL character";
    }
    return std::nullopt;
  };
  auto withinContainer = [&](const void* container, auto&& members) -> std::optional<std::string> {
    if (depth >= ovn::detail::kPropertyListMaxDepth) {
      return OVNFormat("containers are nested more than %d levels deep", ovn::detail::kPropertyListMaxDepth);
    }
    for (const void* ancestor : ancestors) {
      if (ancestor == container) return std::string("a container contains itself");
    }
    ancestors.push_back(container);
    std::optional<std::string> problem = members();
    ancestors.pop_back();
    return problem;
  };
  switch (value.kind()) {
    case OVNValueKind::String: return badText(*value.string());
    case OVNValueKind::Data: return std::nullopt;
    case OVNValueKind::Number:
    case OVNValueKind::Date:
      if (!openStep) return std::nullopt;
      break;
    case OVNValueKind::Array: {
      const OVNArray& array = *value.array();
      return withinContainer(&array, [&]() -> std::optional<std::string> {
        for (const OVNValue& member : array) {
          if (auto problem = invalidity(member, format, depth + 1, ancestors)) return problem;
        }
        return std::nullopt;
      });
    }
    case OVNValueKind::Dictionary: {
      const OVNDictionary& dictionary = *value.dictionary();
      return withinContainer(&dictionary, [&]() -> std::optional<std::string> {
        for (const auto& [key, member] : dictionary) {
          if (auto problem = badText(key)) return problem;
          if (auto problem = invalidity(member, format, depth + 1, ancestors)) return problem;
        }
        return std::nullopt;
      });
    }
    case OVNValueKind::Missing: return std::string("property lists cannot contain missing values (nil)");
    default: break;
  }
  return OVNFormat("property lists cannot contain objects of type '%@'", value.className());
}

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
                                                                          : "")
                               + failure;
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
    return refuse(format == OVNPropertyListOpenStepFormat ? "the OpenStep format cannot be written"
                                                          : "unknown format");
  }
  std::vector<const void*> ancestors;
  if (auto problem = invalidity(plist, format, 0, ancestors)) return refuse(*problem);
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
  std::vector<const void*> ancestors;
  return !invalidity(plist, format, 0, ancestors).has_value();
}
