#include "StationStore.h"

#include <algorithm>

namespace {

using Json = nlohmann::ordered_json;

void mergeInto(Json& target, const Json& members) {
  for (const auto& [key, value] : members.items()) {
    if (value.is_object() && target.contains(key) && target[key].is_object()) {
      mergeInto(target[key], value);
    } else {
      target[key] = value;
    }
  }
}

}  // namespace

std::string StationStore::keyOf(const Json& id) { return id.is_string() ? id.get<std::string>() : id.dump(); }

Json StationStore::create(Json members) {
  std::lock_guard lock(mutex_);
  if (!members.contains("id")) {
    // The id leads, as in the service's other objects.
    Json withId = {{"id", "station-" + std::to_string(nextNumber_++)}};
    withId.update(members);
    members = std::move(withId);
  }
  const auto existing = locate(keyOf(members["id"]));
  if (existing != stations_.end()) {
    *existing = members;
  } else {
    stations_.push_back(members);
  }
  return members;
}

std::optional<Json> StationStore::update(const std::string& id, const Json& members) {
  std::lock_guard lock(mutex_);
  const auto station = locate(id);
  if (station == stations_.end()) return std::nullopt;
  const Json keptId = (*station)["id"];
  mergeInto(*station, members);
  (*station)["id"] = keptId;
  return *station;
}

std::optional<Json> StationStore::get(const std::string& id) const {
  std::lock_guard lock(mutex_);
  const auto station = locate(id);
  if (station == stations_.end()) return std::nullopt;
  return *station;
}

std::vector<Json> StationStore::list(std::size_t limit) const {
  std::lock_guard lock(mutex_);
  const auto count = std::min(limit, stations_.size());
  return {stations_.begin(), stations_.begin() + static_cast<std::ptrdiff_t>(count)};
}

bool StationStore::remove(const std::string& id) {
  std::lock_guard lock(mutex_);
  const auto station = locate(id);
  if (station == stations_.end()) return false;
  stations_.erase(station);
  return true;
}

std::vector<Json>::iterator StationStore::locate(const std::string& id) {
  return std::find_if(stations_.begin(), stations_.end(),
                      [&](const Json& station) { return keyOf(station.at("id")) == id; });
}

std::vector<Json>::const_iterator StationStore::locate(const std::string& id) const {
  return std::find_if(stations_.begin(), stations_.end(),
                      [&](const Json& station) { return keyOf(station.at("id")) == id; });
}
