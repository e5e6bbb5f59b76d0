// expect-success
// What the failing snippets get wrong, done right; proves the harness's include paths.
#include "Platform/Objects/OVNProperties.h"

class Observation : public OVNObject {
  OVN_CLASS(Observation, OVNObject)
 public:
  double tempC = 0;
  std::shared_ptr<OVNObject> source;
  std::string hiddenTitle_;
  OVNValue identifier() const { return OVNValue(source); }
  int level() const { return 0; }
  void setLevel(int) {}
};
OVN_PROPERTIES(Observation, tempC, source, identifier, (level, setLevel), (title, stored_as, hiddenTitle_))

OVNValue wrap(char* buffer, bool flag) { return OVNValue::array({buffer, flag, "text", nullptr}); }
