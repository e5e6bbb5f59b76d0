#include "Platform/Network/OVNURLSession.h"

#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Network/OVNURLSessionDelegateProtocol.h"
#include "Platform/Network/OVNURLSessionDownloadTask.h"
#include "Platform/Network/OVNURLSessionUploadTask.h"
#include "Platform/Network/detail/OVNURLSessionCore.h"
#include "Platform/Objects/OVNProperties.h"

using ovn::detail::OVNURLSessionCore;

OVN_PROPERTIES(OVNURLSession, configuration)

OVNURLSession::OVNURLSession(std::shared_ptr<OVNURLSessionCore> core) : core_(std::move(core)) {}

OVNURLSession::~OVNURLSession() = default;

std::shared_ptr<OVNURLSession> OVNURLSession::sessionWithConfiguration(
    const std::shared_ptr<OVNURLSessionConfiguration>& configuration) {
  return sessionWithConfiguration(configuration, nullptr, nullptr);
}

std::shared_ptr<OVNURLSession> OVNURLSession::sessionWithConfiguration(
    const std::shared_ptr<OVNURLSessionConfiguration>& configuration,
    std::shared_ptr<OVNURLSessionDelegateProtocol> delegate, OVNDispatchQueueRef delegateQueue) {
  auto copied =
      configuration ? configuration->configurationCopy() : OVNURLSessionConfiguration::defaultSessionConfiguration();
  auto session = OVNMake<OVNURLSession>(OVNURLSessionCore::make(copied, std::move(delegate), std::move(delegateQueue)));
  session->core_->attach(session);
  return session;
}

std::shared_ptr<OVNURLSessionConfiguration> OVNURLSession::configuration() const {
  return core_->configuration()->configurationCopy();
}

std::shared_ptr<OVNURLSessionDelegateProtocol> OVNURLSession::delegate() const { return core_->delegate(); }

const OVNDispatchQueueRef& OVNURLSession::delegateQueue() const { return core_->delegateQueue(); }

std::shared_ptr<OVNURLSessionDataTask> OVNURLSession::dataTaskWithRequest(
    const std::shared_ptr<OVNURLRequest>& request) {
  return std::static_pointer_cast<OVNURLSessionDataTask>(
      core_->makeTask(OVNURLSessionCore::TaskKind::data, request, nullptr, nullptr));
}

std::shared_ptr<OVNURLSessionDataTask> OVNURLSession::dataTaskWithURL(const std::shared_ptr<OVNURL>& url) {
  return dataTaskWithRequest(OVNURLRequest::requestWithURL(url));
}

std::shared_ptr<OVNURLSessionDataTask> OVNURLSession::dataTaskWithRequest(const std::shared_ptr<OVNURLRequest>& request,
                                                                          DataCompletion completion) {
  return std::static_pointer_cast<OVNURLSessionDataTask>(
      core_->makeTask(OVNURLSessionCore::TaskKind::data, request, nullptr, std::move(completion)));
}

std::shared_ptr<OVNURLSessionUploadTask> OVNURLSession::uploadTaskWithRequest(
    const std::shared_ptr<OVNURLRequest>& request, std::shared_ptr<const OVNData> body) {
  return std::static_pointer_cast<OVNURLSessionUploadTask>(
      core_->makeTask(OVNURLSessionCore::TaskKind::upload, request, std::move(body), nullptr));
}

std::shared_ptr<OVNURLSessionDownloadTask> OVNURLSession::downloadTaskWithRequest(
    const std::shared_ptr<OVNURLRequest>& request) {
  return std::static_pointer_cast<OVNURLSessionDownloadTask>(
      core_->makeTask(OVNURLSessionCore::TaskKind::download, request, nullptr, nullptr));
}

std::vector<std::shared_ptr<OVNURLSessionTask>> OVNURLSession::allTasks() const { return core_->allTasks(); }

void OVNURLSession::invalidateAndCancel() { core_->invalidate(true); }

void OVNURLSession::finishTasksAndInvalidate() { core_->invalidate(false); }
