#include "daemon/log_channels.h"

#include <atomic>
#include <memory>
#include <string>
#include <utility>

namespace marrow {

namespace {

class DiscardingHandle : public LogHandle {
 private:
  void write(LogLevel /*level*/, std::string /*text*/, const LogOrigin& /*origin*/) override {}
};

// Shared by every thread that logs. A channel changes once, from absent to its handle, and is never
// deleted while somebody may log.
std::atomic<LogService*> logService = nullptr;
std::atomic<LogHandle*> generalChannel = nullptr;
std::atomic<LogHandle*> operationsChannel = nullptr;

void createChannel(std::atomic<LogHandle*>& channel, LogService& service, const char* category) {
  const ErrnoGuard guard;
  std::unique_ptr<LogHandle> created = service.createHandle(kLogSubsystem, category);
  LogHandle* absent = nullptr;
  if (channel.compare_exchange_strong(absent, created.get())) {
    static_cast<void>(created.release());
  }
}

LogHandle& channelOf(std::atomic<LogHandle*>& channel, const char* category) {
  LogService* service = logService;
  if (service == nullptr) {
    static DiscardingHandle nowhere;
    return nowhere;
  }
  while (channel == nullptr) {
    createChannel(channel, *service, category);
  }
  return *channel;
}

}  // namespace

void useLogService(LogService* service) {
  delete generalChannel.exchange(nullptr);
  delete operationsChannel.exchange(nullptr);
  logService = service;
}

LogHandle& generalLogChannel() { return channelOf(generalChannel, ""); }

LogHandle& operationsLogChannel() { return channelOf(operationsChannel, "Operations"); }

}  // namespace marrow
