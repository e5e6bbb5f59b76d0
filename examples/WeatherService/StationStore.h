#pragma once
// The service's writable "stations" family: JSON objects kept in memory by id, in the
// order they were created. A station created without an "id" gets "station-<n>".
//
// Threads: every member may be called from any thread; one mutex guards the objects.

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

class StationStore {
 public:
  //! Stores `members` (replacing a station of the same id) and returns the stored object.
  nlohmann::ordered_json create(nlohmann::ordered_json members);
  //! Merges `members` into the station (objects member by member, everything else
  //! replaced; the id stays); null if there is no such station.
  std::optional<nlohmann::ordered_json> update(const std::string& id, const nlohmann::ordered_json& members);
  std::optional<nlohmann::ordered_json> get(const std::string& id) const;
  //! The first `limit` stations in creation order.
  std::vector<nlohmann::ordered_json> list(std::size_t limit) const;
  //! False if there is no such station.
  bool remove(const std::string& id);

  //! The key a member "id" is stored under: the text itself, or a number as written.
  static std::string keyOf(const nlohmann::ordered_json& id);

 private:
  std::vector<nlohmann::ordered_json>::iterator locate(const std::string& id);
  std::vector<nlohmann::ordered_json>::const_iterator locate(const std::string& id) const;

  mutable std::mutex mutex_;
  std::vector<nlohmann::ordered_json> stations_;
  std::int64_t nextNumber_ = 1;
};
