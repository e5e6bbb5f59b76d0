#pragma once
// OVNPropertyMappingOperation: maps a reply's payload (one JSON object or an array of
// them) into model objects of one class with a property mapper, as a cancellable
// operation, and delivers the objects on the main queue.
//
// Threads: configure it, then add it to an operation queue; `main` runs on that queue's
// thread. Cancellation (any thread) is honoured before the work, after each element of an
// array and before delivery; a cancelled operation delivers nothing. The completion runs
// on the main queue, asynchronously, after `main` returned, and is read again there.
// Mapping errors are only logged to the console ("OVNPropertyMappingOperation: **ERROR**
// ..."); elements that fail are left out and the others are still delivered.

#include <functional>
#include <memory>
#include <mutex>

#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNOperation.h"
#include "Platform/Values/OVNArray.h"
#include "PropertyMapper/OVNPropertyMapper.h"

class OVNApiResponse;

class OVN_EXPORT OVNPropertyMappingOperation : public OVNOperation {
  OVN_CLASS(OVNPropertyMappingOperation, OVNOperation)

 public:
  //! Called with the objects made, in payload order; null for a null payload.
  using MappingCompletionBlock = std::function<void(const OVNArrayRef& objects)>;

  OVNPropertyMappingOperation() = default;

  static std::shared_ptr<OVNPropertyMappingOperation> initWithDictionary(OVNValue dictionary,
                                                                         const OVNClass& instanceClass,
                                                                         OVNPropertyMapperRef mapper);
  //! The response's payload; the response itself is not kept.
  static std::shared_ptr<OVNPropertyMappingOperation> initWithApiResponse(const OVNApiResponse& response,
                                                                          const OVNClass& instanceClass,
                                                                          OVNPropertyMapperRef mapper);

  void setMappingCompletionBlock(MappingCompletionBlock block);
  MappingCompletionBlock completionBlockForMapping() const;

  const OVNValue& dictionary() const { return dictionary_; }
  void setDictionary(OVNValue dictionary) { dictionary_ = std::move(dictionary); }
  const std::shared_ptr<OVNApiResponse>& response() const { return response_; }
  void setResponse(std::shared_ptr<OVNApiResponse> response) { response_ = std::move(response); }
  const OVNClass* instanceClass() const { return instanceClass_; }
  void setInstanceClass(const OVNClass* cls) { instanceClass_ = cls; }
  const OVNPropertyMapperRef& mapper() const { return mapper_; }
  void setMapper(OVNPropertyMapperRef mapper) { mapper_ = std::move(mapper); }

  void main() override;

 private:
  //! The objects of the payload; null for a null payload, and null with `cancelled` set
  //! when cancelled between elements.
  OVNArrayRef mapPayload(bool& cancelled);
  void deliver(OVNArrayRef results);

  OVNValue dictionary_;
  std::shared_ptr<OVNApiResponse> response_;
  const OVNClass* instanceClass_ = nullptr;
  OVNPropertyMapperRef mapper_;
  mutable std::mutex completionLock_;
  MappingCompletionBlock completion_;  // under completionLock_
};

using OVNPropertyMappingOperationRef = std::shared_ptr<OVNPropertyMappingOperation>;
