#include "host/linux/sleep_inhibitor.h"

#include "host/linux/system_bus_library.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace marrow {

namespace {

using BusClock = std::chrono::steady_clock;
constexpr std::chrono::seconds kBusPatience{1};

// A path as a value of a bus address, in which other bytes than these are told as %XX (D-Bus
// Specification, Server Addresses).
std::string busAddress(const std::string& socket) {
  constexpr std::string_view plain = "-_/.\\*";
  std::string address = "unix:path=";
  for (const char byte : socket) {
    const auto value = static_cast<unsigned char>(byte);
    if ((value < 0x80 && std::isalnum(value) != 0) || plain.find(byte) != std::string_view::npos) {
      address += byte;
    } else {
      std::array<char, 4> escaped{};
      std::snprintf(escaped.data(), escaped.size(), "%%%02x", unsigned{value});
      address += escaped.data();
    }
  }
  return address;
}

// One connection for one question. Its calls are 0 or more, or a negative errno value, as those of
// sd-bus(3); all of them together take no longer than a second.
class BusConnection {
 public:
  explicit BusConnection(const SystemBusLibrary& library) : _library(library) {}
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;
  ~BusConnection() {
    _library.messageUnref(_reply);
    _library.closeUnref(_bus);
  }

  int open(const std::string& socket);
  int inhibit(const SleepInhibitor& inhibitor);
  // The lock that came with the answer.
  int duplicateLock() const;

 private:
  int begin(const std::string& address);
  int waitUntilReady();
  std::uint64_t timeLeft() const;

  const SystemBusLibrary& _library;
  const BusClock::time_point _deadline = BusClock::now() + kBusPatience;
  sd_bus* _bus = nullptr;
  sd_bus_message* _reply = nullptr;
};

int BusConnection::open(const std::string& socket) {
  const int status = begin(busAddress(socket));
  return status < 0 ? status : waitUntilReady();
}

int BusConnection::begin(const std::string& address) {
  int status = _library.create(&_bus);
  if (status >= 0) {
    status = _library.setAddress(_bus, address.c_str());
  }
  if (status >= 0) {
    status = _library.setBusClient(_bus, 1);
  }
  if (status >= 0) {
    status = _library.negotiateDescriptors(_bus, 1);
  }
  return status < 0 ? status : _library.start(_bus);
}

// A call made earlier would itself wait, without end, for a bus that does not greet.
int BusConnection::waitUntilReady() {
  int status = 0;
  while (status >= 0 && (status = _library.isReady(_bus)) == 0) {
    const std::uint64_t left = timeLeft();
    status = left == 0 ? -ETIMEDOUT : _library.process(_bus, nullptr);
    if (status == 0) {
      status = _library.wait(_bus, left);
    }
    if (status == -EINTR) {
      status = 0;
    }
  }
  return status;
}

int BusConnection::inhibit(const SleepInhibitor& inhibitor) {
  const int status = _library.setMethodCallTimeout(_bus, std::max<std::uint64_t>(timeLeft(), 1));
  if (status < 0) {
    return status;
  }
  sd_bus_error error{};
  const int called = _library.callMethod(_bus, "org.freedesktop.login1", "/org/freedesktop/login1",
                                         "org.freedesktop.login1.Manager", "Inhibit", &error,
                                         &_reply, "ssss", inhibitor.what.c_str(),
                                         inhibitor.who.c_str(), inhibitor.why.c_str(), "block");
  _library.errorFree(&error);
  return called;
}

int BusConnection::duplicateLock() const {
  int lock = -1;
  const int status = _library.messageRead(_reply, "h", &lock);
  if (status < 0) {
    return status;
  }
  const int ours = ::fcntl(lock, F_DUPFD_CLOEXEC, 0);
  return ours >= 0 ? ours : -errno;
}

// Microseconds.
std::uint64_t BusConnection::timeLeft() const {
  const auto left =
      std::chrono::ceil<std::chrono::microseconds>(_deadline - BusClock::now()).count();
  return left > 0 ? static_cast<std::uint64_t>(left) : 0;
}

int askForLock(const SystemBusLibrary& library, const std::string& socket,
               const SleepInhibitor& inhibitor) {
  BusConnection connection(library);
  int status = connection.open(socket);
  if (status >= 0) {
    status = connection.inhibit(inhibitor);
  }
  return status < 0 ? status : connection.duplicateLock();
}

}  // namespace

Descriptor takeSleepInhibitor(const std::string& socket, const SleepInhibitor& inhibitor,
                              const char* library) {
  if (::access(socket.c_str(), F_OK) != 0) {
    return {};
  }
  SystemBusLibrary functions{};
  if (!functions.load(library)) {
    errno = ELIBACC;
    return {};
  }
  const int lock = askForLock(functions, socket, inhibitor);
  if (lock < 0) {
    errno = -lock;
    return {};
  }
  return Descriptor(lock);
}

}  // namespace marrow
