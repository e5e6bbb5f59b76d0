#pragma once
// Model classes shared by the object-model tests: one member of every supported kind.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Objects/OVNObject.h"
#include "Platform/Objects/OVNStructEncoding.h"

struct TestPoint {
  double x = 0, y = 0;
};
OVN_STRUCT_ENCODING(TestPoint, "{CGPoint=dd}");

enum class TestColor : std::int32_t { Red = 1, Green = 2 };

class TestPlace : public OVNObject {
  OVN_CLASS(TestPlace, OVNObject)
 public:
  std::string name;
  std::shared_ptr<TestPlace> parent;
};

class TestStation : public OVNObject {
  OVN_CLASS(TestStation, OVNObject)
 public:
  std::optional<std::string> title;
  std::string code;
  std::int64_t count = 0;
  std::uint64_t total = 0;
  std::int32_t small = 0;
  std::int16_t tiny = 0;
  std::uint8_t byte = 0;
  double temperature = 0;
  float ratio = 0;
  bool active = false;
  TestColor color = TestColor::Red;
  std::optional<double> pressure;
  std::optional<OVNDate> observedAt;
  OVNValue extra;
  OVNArrayRef readings;
  OVNDictionaryRef attributes;
  OVNDataRef payload;
  OVNSetRef tags;
  OVNOrderedSetRef history;
  std::optional<std::int64_t> rank;
  std::uint16_t port = 0;
  std::uint32_t flags = 0;
  char grade = 'A';
  std::shared_ptr<TestPlace> place;
  std::weak_ptr<TestPlace> nearby;
  std::vector<std::shared_ptr<TestPlace>> places;
  std::vector<std::int64_t> codes;
  std::function<void(int)> handler;
  TestPoint origin;

  std::string summary() const { return title.value_or("") + "/" + std::to_string(count); }
  double elevation() const { return elevation_; }
  void setElevation(double meters) { elevation_ = meters; }

 private:
  double elevation_ = 0;
};

class TestSubStation : public TestStation {
  OVN_CLASS(TestSubStation, TestStation)
 public:
  std::string network;
};
