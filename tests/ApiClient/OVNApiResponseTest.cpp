#include <gtest/gtest.h>

#include "OVNApiResponse.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"

namespace {

std::shared_ptr<OVNApiResponse> responseFor(std::string_view json) {
  OVNDictionaryRef envelope = OVNJSONSerialization::JSONObjectWithData(json).dictionary();
  EXPECT_TRUE(envelope) << json;
  return OVNApiResponse::initWithJSONDictionary(envelope);
}

std::string descriptionOf(const std::shared_ptr<OVNError>& error) {
  return error ? error->localizedDescription() : "(no error)";
}

TEST(OVNApiResponseTest, NullEnvelopeGivesDefaults) {
  auto response = OVNApiResponse::initWithJSONDictionary(nullptr);
  EXPECT_FALSE(response->isSuccessful());
  EXPECT_TRUE(response->response().isMissing());
  EXPECT_FALSE(response->error());
}

TEST(OVNApiResponseTest, SuccessfulEnvelopeCarriesACopyOfThePayload) {
  OVNDictionaryRef envelope = OVNJSONSerialization::JSONObjectWithData(
                                  R"({"success": true, "error": null, "response": [{"id": "a"}, {"id": "b"}]})",
                                  OVNJSONReadingMutableContainers)
                                  .dictionary();
  auto response = OVNApiResponse::initWithJSONDictionary(envelope);
  EXPECT_TRUE(response->isSuccessful());
  EXPECT_FALSE(response->error());
  OVNArrayRef payload = response->response().array();
  ASSERT_TRUE(payload);
  EXPECT_EQ(payload->count(), 2u);
  envelope->objectForKey("response").array()->removeAll();
  EXPECT_EQ(payload->count(), 2u) << "the payload must not share the envelope's array";
}

TEST(OVNApiResponseTest, ErrorEnvelopeDropsThePayloadAndMapsTheCode) {
  auto response = responseFor(
      R"({"success": false, "error": {"code": "invalid_client", "description": "bad id"}, "response": [1]})");
  EXPECT_FALSE(response->isSuccessful());
  ASSERT_TRUE(response->error());
  EXPECT_EQ(response->error()->domain(), OVNApiErrorDomain);
  EXPECT_EQ(response->error()->code(), OVNApiErrorCodeInvalidClient);
  EXPECT_EQ(descriptionOf(response->error()), "bad id");
  EXPECT_TRUE(response->response().isMissing());
  EXPECT_EQ(response->error()->userInfo()->count(), 1u) << "the code string is not kept";
}

TEST(OVNApiResponseTest, EveryKnownCodeStringAndTheUnclassifiedOnes) {
  const std::pair<const char*, std::int64_t> codes[] = {
      {"object_not_exists", OVNApiErrorCodeObjectNotExists},
      {"insufficient_scope", OVNApiErrorCodeInsufficientScope},
      {"invalid_client", OVNApiErrorCodeInvalidClient},
      {"unauthorized_namespace", OVNApiErrorCodeUnauthorizedNamespace},
      {"invalid_location", 0},
      {"", 0}};
  for (const auto& [code, expected] : codes) {
    auto error = OVNApiResponse::errorForFailedResponseErrorDictionary(
        OVNValue::dictionary({{"code", OVNValue(code)}, {"description", OVNValue("d")}}));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), expected) << code;
  }
  EXPECT_FALSE(OVNApiResponse::errorForFailedResponseErrorDictionary(OVNValue()));
  EXPECT_FALSE(OVNApiResponse::errorForFailedResponseErrorDictionary(OVNValue::null()));
}

TEST(OVNApiResponseTest, MissingOrNullPartsOfTheErrorAreUnknown) {
  auto onlyError = responseFor(R"({"error": {"code": "something_else"}})");
  EXPECT_FALSE(onlyError->isSuccessful());
  ASSERT_TRUE(onlyError->error());
  EXPECT_EQ(onlyError->error()->code(), 0);
  EXPECT_EQ(descriptionOf(onlyError->error()), "unknown error");

  auto nulls = responseFor(R"({"error": {"code": null, "description": null}})");
  ASSERT_TRUE(nulls->error());
  EXPECT_EQ(nulls->error()->code(), 0);
  EXPECT_EQ(descriptionOf(nulls->error()), "unknown error");

  auto bareString = responseFor(R"({"error": "rate limited"})");
  ASSERT_TRUE(bareString->error());
  EXPECT_EQ(bareString->error()->code(), 0);
  EXPECT_EQ(descriptionOf(bareString->error()), "rate limited");
}

TEST(OVNApiResponseTest, SuccessAndErrorAreIndependent) {
  auto response = responseFor(R"({"success": true, "error": {"code": "object_not_exists", "description": "gone"}})");
  EXPECT_TRUE(response->isSuccessful());
  ASSERT_TRUE(response->error());
  EXPECT_EQ(response->error()->code(), OVNApiErrorCodeObjectNotExists);
}

TEST(OVNApiResponseTest, SuccessIsReadAsTheEnvelopesBoolean) {
  const std::pair<const char*, bool> cases[] = {{R"({"success": "true"})", true},  {R"({"success": 1})", true},
                                                {R"({"success": 0})", false},      {R"({"success": "false"})", false},
                                                {R"({"success": "  Yes"})", true}, {R"({"success": "9"})", true},
                                                {R"({"success": "0"})", false},    {R"({"success": 0.5})", true},
                                                {R"({"success": null})", false},   {R"({})", false}};
  for (const auto& [json, expected] : cases) EXPECT_EQ(responseFor(json)->isSuccessful(), expected) << json;
}

class WeatherResponse : public OVNApiResponse {
  OVN_CLASS(WeatherResponse, OVNApiResponse)
 public:
  std::int64_t requestCount = 0;

 protected:
  void readJSONDictionary(const OVNDictionary& dictionary) override {
    OVNApiResponse::readJSONDictionary(dictionary);
    requestCount = dictionary.objectForKey("count").longLongValue().value_or(-1);
  }
};

TEST(OVNApiResponseTest, SubclassesAreBuiltThroughTheirClass) {
  OVNDictionaryRef envelope =
      OVNJSONSerialization::JSONObjectWithData(R"({"success": true, "count": 3, "response": {}})").dictionary();
  auto response = OVNApiResponse::initWithJSONDictionary(WeatherResponse::classObject(), envelope);
  auto weather = std::dynamic_pointer_cast<WeatherResponse>(response);
  ASSERT_TRUE(weather);
  EXPECT_TRUE(weather->isSuccessful());
  EXPECT_EQ(weather->requestCount, 3);
  EXPECT_THROW(OVNApiResponse::initWithJSONDictionary(OVNObject::classObject(), envelope), OVNException);
}

}  // namespace
OVN_PROPERTIES(WeatherResponse, requestCount)
