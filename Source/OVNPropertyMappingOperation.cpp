#include "OVNPropertyMappingOperation.h"

#include "OVNApiResponse.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNConsoleLog.h"

OVN_PROPERTIES(OVNPropertyMappingOperation)

std::shared_ptr<OVNPropertyMappingOperation> OVNPropertyMappingOperation::initWithDictionary(
    OVNValue dictionary, const OVNClass& instanceClass, OVNPropertyMapperRef mapper) {
  auto operation = OVNMake<OVNPropertyMappingOperation>();
  operation->dictionary_ = std::move(dictionary);
  operation->instanceClass_ = &instanceClass;
  operation->mapper_ = std::move(mapper);
  return operation;
}

std::shared_ptr<OVNPropertyMappingOperation> OVNPropertyMappingOperation::initWithApiResponse(
    const OVNApiResponse& response, const OVNClass& instanceClass, OVNPropertyMapperRef mapper) {
  return initWithDictionary(response.response(), instanceClass, std::move(mapper));
}

void OVNPropertyMappingOperation::setMappingCompletionBlock(MappingCompletionBlock block) {
  std::lock_guard guard(completionLock_);
  completion_ = std::move(block);
}

OVNPropertyMappingOperation::MappingCompletionBlock OVNPropertyMappingOperation::completionBlockForMapping() const {
  std::lock_guard guard(completionLock_);
  return completion_;
}

void OVNPropertyMappingOperation::main() {
  if (isCancelled()) return;
  bool cancelled = false;
  OVNArrayRef results = mapPayload(cancelled);
  if (cancelled || isCancelled() || !completionBlockForMapping()) return;
  deliver(std::move(results));
}

OVNArrayRef OVNPropertyMappingOperation::mapPayload(bool& cancelled) {
  // A null payload (nothing, or JSON null) gives null rather than an empty list.
  if (dictionary_.isMissing() || dictionary_.isNull()) return nullptr;
  auto results = OVNArray::make({}, true);
  OVNPropertyMapper::Errors errors;  // one slot for every element: the last failure stays
  auto mapOne = [&](const OVNValue& source) {
    if (!mapper_ || !instanceClass_) return;
    if (auto object = mapper_->createObjectWithClass(*instanceClass_, source, &errors)) results->add(std::move(object));
  };
  if (auto array = dictionary_.array()) {
    for (const OVNValue& element : *array) {
      mapOne(element);
      if (isCancelled()) {
        cancelled = true;
        return nullptr;
      }
    }
  } else {
    mapOne(dictionary_);
  }
  if (!errors.empty()) {
    std::vector<OVNValue> listed(errors.begin(), errors.end());
    OVNConsoleLog::writeFormat("OVNPropertyMappingOperation: **ERROR** %@",
                               OVNValue(OVNArray::make(std::move(listed), false)));
  }
  return results;
}

void OVNPropertyMappingOperation::deliver(OVNArrayRef results) {
  // The operation stays alive until its delivery ran; cancelling in the meantime still
  // suppresses it.
  auto self = std::static_pointer_cast<OVNPropertyMappingOperation>(OVNObject::self());
  OVNDispatchQueue::main()->async([self, results = std::move(results)] {
    if (self->isCancelled()) return;
    if (auto completion = self->completionBlockForMapping()) completion(results);
  });
}
