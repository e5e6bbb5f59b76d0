#pragma once
// The file backend of OVNSecureStore: one binary property list per item, named after a
// digest of its service and account, in a directory only the user can enter. Files are
// written to a temporary name and linked (add) or renamed (update) into place, so an item
// is never seen half written; a file that others may read, that is not ours, or that does
// not hold the item its name says is never used (logged once).
//
// Threads: the caller serialises calls within the process.

#include <optional>
#include <string>

#include "Platform/System/OVNSecItem.h"
#include "Platform/Values/OVNValue.h"

namespace ovn::detail {

class OVNFileSecureStore {
 public:
  explicit OVNFileSecureStore(std::string directory) : directory_(std::move(directory)) {}

  OVNStatus add(const OVNDictionary& attributes);
  OVNStatus update(const OVNDictionary& query, const OVNDictionary& attributes);
  OVNStatus copyMatching(const OVNDictionary& query, OVNValue* result);
  OVNStatus remove(const OVNDictionary& query);

 private:
  struct Item {
    std::string service;
    std::string account;
    OVNValue data;
    OVNValue accessible;
  };
  //! The item's file for a query naming a generic password by service and account.
  std::optional<std::string> pathFor(const OVNDictionary& query) const;
  bool prepareDirectory();
  OVNStatus read(const std::string& path, const OVNDictionary& query, Item* item);
  //! Writes the item to a temporary file and links (when `replace` is false) or renames it
  //! into place; errSecDuplicateItem when linking finds a file there.
  OVNStatus write(const std::string& path, const Item& item, bool replace);

  std::string directory_;
};

}  // namespace ovn::detail
