// expect-success
// Every element form, spelt right and of supported types: the harness compiles this.
#include <optional>
#include <string>

#include "Platform/Objects/OVNProperties.h"

class Observation : public OVNObject {
  OVN_CLASS(Observation, OVNObject)
 public:
  double tempC = 0;
  std::optional<std::string> placeName;
  std::shared_ptr<OVNObject> source;
  std::string hiddenTitle_;
  OVNValue identifier() const { return placeName ? OVNValue(*placeName) : OVNValue(); }
  int level() const { return level_; }
  void setLevel(int level) { level_ = level; }

 private:
  int level_ = 0;
};
OVN_PROPERTIES(Observation, tempC, placeName, source, identifier, (level, setLevel), (title, stored_as, hiddenTitle_))
