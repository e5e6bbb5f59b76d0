#include "OVNApiRequestOptions.h"

#include "Categories/NSDictionary+OvrinCore.h"
#include "Categories/NSObject+OvrinCore.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNApiRequestOptions, (action, setAction))

std::shared_ptr<OVNApiRequestOptions> OVNApiRequestOptions::options(const OVNClass& receiver) {
  auto instance = std::dynamic_pointer_cast<OVNApiRequestOptions>(receiver.createInstance());
  if (!instance) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("+[%@ options]: %@ cannot make request options", receiver.name(), receiver.name()));
  }
  return instance;
}

std::shared_ptr<OVNApiRequestOptions> OVNApiRequestOptions::optionsFromDictionary(const OVNClass& receiver,
                                                                                  const OVNDictionaryRef& dictionary) {
  auto instance = options(receiver);
  if (dictionary) instance->readOptionsDictionary(*dictionary);
  return instance;
}

std::shared_ptr<OVNApiRequestOptions> OVNApiRequestOptions::optionsFromQueryString(
    const OVNClass& receiver, std::optional<std::string_view> query) {
  return optionsFromDictionary(receiver, query ? ovn_dictionaryWithQueryString(*query) : nullptr);
}

std::shared_ptr<OVNApiRequestOptions> OVNApiRequestOptions::optionsFromURLPath(const OVNClass& receiver,
                                                                               std::string_view path) {
  const auto first = path.find('?');
  if (first == std::string_view::npos) return optionsFromQueryString(receiver, std::nullopt);
  const auto second = path.find('?', first + 1);
  return optionsFromQueryString(
      receiver, path.substr(first + 1, second == std::string_view::npos ? std::string_view::npos : second - first - 1));
}

void OVNApiRequestOptions::readOptionsDictionary(const OVNDictionary&) {}

OVNDictionaryRef OVNApiRequestOptions::optionsAsDictionary() const {
  auto dictionary = std::make_shared<OVNDictionary>();
  if (action_) dictionary->set("action", *action_);
  return dictionary->copy();
}

std::string OVNApiRequestOptions::optionsAsQueryString() const { return ovn_serializedString(*optionsAsDictionary()); }

OVNObjectRef OVNApiRequestOptions::copy() const {
  auto duplicate = options(objectClass());
  duplicate->action_ = action_;
  return duplicate;
}

std::string OVNApiRequestOptions::description() const { return ovn_autoDescription(*this); }
