#pragma once
// OVNApiRequestOptions: the base of typed request options; a request takes it in place of
// a parameters dictionary. The base carries only `action`, sent as the parameter "action".
//
// Subclasses add their options as properties and read them in `readOptionsDictionary`
// (the class operations build the receiving class and then call it) and write them in
// `optionsAsDictionary`.
//
// Threads: an options object is configured and read on one thread at a time.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDictionary.h"

class OVN_EXPORT OVNApiRequestOptions : public OVNObject {
  OVN_CLASS(OVNApiRequestOptions, OVNObject)

 public:
  OVNApiRequestOptions() = default;

  //! A new, empty instance of the receiving class.
  template <class Receiver = OVNApiRequestOptions>
  static std::shared_ptr<Receiver> options() {
    return std::static_pointer_cast<Receiver>(options(Receiver::classObject()));
  }
  //! As above for a class known at run time; a class that is not (a subclass of)
  //! OVNApiRequestOptions, or cannot be made, is a programming error.
  static std::shared_ptr<OVNApiRequestOptions> options(const OVNClass& receiver);

  //! `options`, then the instance reads the dictionary (the base reads nothing, not even
  //! "action").
  template <class Receiver = OVNApiRequestOptions>
  static std::shared_ptr<Receiver> optionsFromDictionary(const OVNDictionaryRef& dictionary) {
    return std::static_pointer_cast<Receiver>(optionsFromDictionary(Receiver::classObject(), dictionary));
  }
  static std::shared_ptr<OVNApiRequestOptions> optionsFromDictionary(const OVNClass& receiver,
                                                                     const OVNDictionaryRef& dictionary);

  //! `optionsFromDictionary` of the query string's dictionary (`ovn_dictionaryWithQueryString`).
  template <class Receiver = OVNApiRequestOptions>
  static std::shared_ptr<Receiver> optionsFromQueryString(std::optional<std::string_view> query) {
    return std::static_pointer_cast<Receiver>(optionsFromQueryString(Receiver::classObject(), query));
  }
  static std::shared_ptr<OVNApiRequestOptions> optionsFromQueryString(const OVNClass& receiver,
                                                                      std::optional<std::string_view> query);

  //! The text after the first "?" up to the next one is the query string; without "?"
  //! there is none.
  template <class Receiver = OVNApiRequestOptions>
  static std::shared_ptr<Receiver> optionsFromURLPath(std::string_view path) {
    return std::static_pointer_cast<Receiver>(optionsFromURLPath(Receiver::classObject(), path));
  }
  static std::shared_ptr<OVNApiRequestOptions> optionsFromURLPath(const OVNClass& receiver, std::string_view path);

  const std::optional<std::string>& action() const { return action_; }
  void setAction(std::optional<std::string> action) { action_ = std::move(action); }

  //! An immutable dictionary holding "action" when it is set, and nothing else.
  virtual OVNDictionaryRef optionsAsDictionary() const;
  //! `ovn_serializedString` of `optionsAsDictionary`.
  std::string optionsAsQueryString() const;

  //! A new instance of the same class (through `options`) with a copy of `action`.
  bool supportsCopying() const override { return true; }
  OVNObjectRef copy() const override;
  //! The automatic description: "<Class: action=...>".
  std::string description() const override;

 protected:
  //! Reads options from a dictionary into this fresh instance; the base reads nothing.
  virtual void readOptionsDictionary(const OVNDictionary& dictionary);

 private:
  std::optional<std::string> action_;
};

using OVNApiRequestOptionsRef = std::shared_ptr<OVNApiRequestOptions>;
