#pragma once
// OVNPropertyMapper: turns dictionaries decoded from the service's JSON into model objects
// and model objects back into dictionaries, by mapping tables registered per class.
//
// A mapping table is a dictionary from source key ("name", or a key path "loc.lat"; for
// nested objects also "*" or "^anything", meaning the whole source dictionary) to an
// OVNPropertyDescriptor. Tables, final encoders and decoders are kept per class name.
//
// Threads: fill the tables (add / set / remove / final coders / factory) before the mapper
// is used from several threads; those calls are not synchronised. After that, any number of
// threads may create, update, validate and serialize at once: they only read the tables,
// and the property-table cache they share is locked. Callbacks (descriptors' blocks, final
// encoders and decoders, the model factory) run on the calling thread, with no lock held.
//
// Nothing is thrown: registration failures come back as errors (and are logged when an
// error slot is given), validation failures as error lists. Values whose kind does not fit
// a property (a string for a number member, a dictionary for a list) are not stored; the
// DEBUG log says so.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNPropertyDescriptor.h"
#include "PropertyMapper/OVNPropertyMapperModelFactoryProtocol.h"

class OVN_EXPORT OVNPropertyMapper : public OVNObject {
  OVN_CLASS(OVNPropertyMapper, OVNObject)

 public:
  using Errors = std::vector<std::shared_ptr<OVNError>>;
  //! Called with the finished serialized dictionary (a mutable deep copy) and the object.
  using FinalEncoderBlock = std::function<void(const OVNDictionaryRef& serialized, const OVNObjectRef& object)>;
  //! Called with the source dictionary (or what the option leaves of it) and the object.
  using FinalDecoderBlock = std::function<void(const OVNDictionaryRef& dictionary, const OVNObjectRef& object)>;

  //! Final decoder options: the whole source, or only its unmapped remainder.
  static constexpr std::uint64_t FinalDecoderWholeDictionary = 0;
  static constexpr std::uint64_t FinalDecoderUnmappedRemainder = 1;
  //! Serialization options: leave out properties without a value, or write them as null.
  static constexpr std::uint64_t SerializeSkipMissing = 0;
  static constexpr std::uint64_t SerializeMissingAsNull = 1;

  OVNPropertyMapper();
  ~OVNPropertyMapper() override;

  //! Empty tables and the simple model factory.
  static std::shared_ptr<OVNPropertyMapper> init();
  static std::shared_ptr<OVNPropertyMapper> initWithModelFactory(
      std::shared_ptr<OVNPropertyMapperModelFactoryProtocol> modelFactory);

  const std::shared_ptr<OVNPropertyMapperModelFactoryProtocol>& modelFactory() const;
  void setModelFactory(std::shared_ptr<OVNPropertyMapperModelFactoryProtocol> modelFactory);

  // ---- registry ------------------------------------------------------------------------
  //! Validates `mappings` against `cls`; on success merges it into the class's table (a new
  //! entry replaces one under the same key). On failure returns false, stores the error in
  //! `error` and, only when a slot was given, logs its message at OVNLogLevelError.
  [[nodiscard]] bool addMappings(const OVNDictionaryRef& mappings, const OVNClass& cls,
                                 std::shared_ptr<OVNError>* error = nullptr);
  //! As addMappings, but the class's table becomes a copy of `mappings`.
  [[nodiscard]] bool setMappings(const OVNDictionaryRef& mappings, const OVNClass& cls,
                                 std::shared_ptr<OVNError>* error = nullptr);
  //! Takes `other`'s tables class by class (a class in both gets other's whole table), then
  //! its final encoders, decoders and decoder options.
  void addMappingsFromPropertyMapper(const OVNPropertyMapper& other);
  //! Removes the class's table, final encoder and final decoder (with its option); true
  //! when any of them was there.
  bool removeMappingsForClass(const OVNClass& cls);
  void setFinalMappingEncoder(FinalEncoderBlock encoder, const OVNClass& cls);
  void setFinalMappingDecoder(FinalDecoderBlock decoder, const OVNClass& cls, std::uint64_t option);

  //! Snapshots: class name -> mapping table; the table of one class (null when none).
  OVNDictionaryRef mappingsByClass() const;
  OVNDictionaryRef mappingsForClass(const OVNClass& cls) const;
  FinalEncoderBlock finalMappingEncoderForClass(const OVNClass& cls) const;
  FinalDecoderBlock finalMappingDecoderForClass(const OVNClass& cls) const;
  //! The option stored with the class's final decoder; nullopt without one.
  std::optional<std::uint64_t> finalMappingDecoderOptionForClass(const OVNClass& cls) const;
  //! Snapshot of the property-table cache: class name -> property table.
  OVNDictionaryRef cachedPropertiesByClass() const;

  //! A plain two-way descriptor for each property `cls` itself declares whose type string is
  //! one of NSNumber, NSString, NSDate, NSTimeZone, c, d, i, f, l, s, I (64-bit integers and
  //! booleans are left out on purpose).
  static OVNDictionaryRef generateMappingsFromClass(const OVNClass& cls);
  //! A plain two-way descriptor for each name.
  static OVNDictionaryRef generateMappingsWithKeys(const std::vector<std::string>& keys);

  //! Name -> type string of `cls` and its ancestors (an ancestor's declaration wins);
  //! computed once per class and cached.
  OVNDictionaryRef propertiesForClass(const OVNClass& cls) const;

  // ---- validation ----------------------------------------------------------------------
  //! The first problem of `mappings` on `cls` (60530 for a value that is not a descriptor,
  //! 60520 for a property the class lacks), or null.
  [[nodiscard]] std::shared_ptr<OVNError> validateMappings(const OVNDictionaryRef& mappings, const OVNClass& cls) const;
  //! Every validation error of `values` (a dictionary, or an array of them) against
  //! `mapping`, nested tables included, in table order; empty when valid.
  [[nodiscard]] Errors validateMapping(const OVNDictionaryRef& mapping, const OVNValue& values) const;
  [[nodiscard]] Errors validateMappingWithValuesArray(const OVNDictionaryRef& mapping, const OVNArrayRef& values) const;
  [[nodiscard]] Errors validateMappingWithValuesDictionary(const OVNDictionaryRef& mapping,
                                                           const OVNDictionaryRef& values) const;

  // ---- conversions ---------------------------------------------------------------------
  //! Validates `dictionary` against the class's table, then makes and fills an object. On
  //! failure (no table: 60540; invalid values: their errors) stores the list in `errors`
  //! and returns null.
  [[nodiscard]] OVNObjectRef createObjectWithClass(const OVNClass& cls, const OVNValue& dictionary,
                                                   Errors* errors = nullptr);
  template <class T>
  [[nodiscard]] std::shared_ptr<T> createObjectWithClass(const OVNValue& dictionary, Errors* errors = nullptr) {
    return std::dynamic_pointer_cast<T>(createObjectWithClass(T::classObject(), dictionary, errors));
  }
  //! Makes an object through the model factory and fills it from `dictionary` (when
  //! present) without validating; null when the factory gives none.
  OVNObjectRef _createObjectWithClass(const OVNClass& cls, const OVNValue& dictionary);
  //! Applies the table stored under `mappingKey` (a class name) to `object`, then the final
  //! decoder stored under it. The source is a dictionary or an OVNDictionaryConvertible
  //! object; other values map nothing. Missing and null source values leave properties
  //! as they are.
  void updateObjectInstance(const OVNObjectRef& object, const OVNValue& source, std::string_view mappingKey);
  //! As above with the object's own class name.
  void updateObjectInstance(const OVNObjectRef& object, const OVNValue& source);
  //! A new mutable dictionary for an object (empty when its class has no table); the null
  //! marker for the null marker; missing for missing.
  OVNValue serializeObject(const OVNValue& object, std::uint64_t options = SerializeSkipMissing);

  //! The property as a dynamic value; missing for a name the object's class lacks.
  OVNValue getSafeValueForKey(std::string_view propertyName, const OVNObject& object) const;
  //! Stores `value` in the property: arrays become sets or ordered sets for properties of
  //! those types (and are not stored in other non-array properties); missing and null clear
  //! properties of known object classes and leave others unchanged.
  void setSafeValue(const OVNValue& value, std::string_view propertyName, OVNObject& object) const;
  //! The nested object held in `propertyName`, made (through the factory) and stored there
  //! when the property has none. Null when none can be made.
  OVNObjectRef classPropertyForInstance(const OVNObjectRef& object, std::string_view propertyName,
                                        const OVNClass* propertyClass);

  class Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

using OVNPropertyMapperRef = std::shared_ptr<OVNPropertyMapper>;
