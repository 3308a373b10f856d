#include "host/linux/claims.h"

#include "host/error_record.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <utility>

namespace marrow {

namespace {

bool isNode(const Descriptor& descriptor, dev_t number) {
  struct stat status {};
  return ::fstat(descriptor.number(), &status) == 0 && S_ISBLK(status.st_mode) &&
         status.st_rdev == number;
}

}  // namespace

ClaimLoan::~ClaimLoan() { _claims.endLoan(_device, _kept); }

void Claims::refuse(Owner owner, const BlockDevice& device) {
  const std::lock_guard lock(_mutex);
  Claim* claim = find(device);
  if (claim == nullptr) {
    claim =
        &_claims.insert_or_assign(device.name, Claim{device, {}, {}, State::waiting}).first->second;
  }
  claim->owners.insert(owner);
  if (claim->state == State::waiting) {
    report(*claim, tryHold(*claim));
  }
}

void Claims::refuseAlso(const BlockDevice& device, const BlockDevice& above) {
  std::set<Owner> owners;
  {
    const std::lock_guard lock(_mutex);
    const Claim* claim = find(device);
    owners = claim == nullptr ? owners : claim->owners;
  }
  for (const Owner owner : owners) {
    refuse(owner, above);
  }
}

void Claims::report(const Claim& claim, int errorNumber) {
  if (errorNumber == EBUSY) {
    _log.log(LogLevel::standard,
             claim.device.name + " is in use; it will be claimed when it is free");
  } else if (errorNumber != 0) {
    _log.log(LogLevel::error,
             "Cannot claim " + claim.device.name + ": " + errorNumberText(errorNumber));
  }
  if (errorNumber != 0) {
    for (const auto& [owner, look] : _watchers) {
      look();
    }
  }
}

void Claims::watch(Owner owner, std::function<void()> look) {
  const std::lock_guard lock(_mutex);
  _watchers.insert_or_assign(owner, std::move(look));
}

void Claims::giveBack(Owner owner) {
  const std::lock_guard lock(_mutex);
  _watchers.erase(owner);
  for (auto at = _claims.begin(); at != _claims.end();) {
    const bool last = at->second.owners.erase(owner) != 0 && at->second.owners.empty();
    at = last ? _claims.erase(at) : std::next(at);
  }
}

void Claims::forget(const std::string& name) {
  const std::lock_guard lock(_mutex);
  _claims.erase(name);
}

bool Claims::refuses(const BlockDevice& device) const {
  const std::lock_guard lock(_mutex);
  const auto found = _claims.find(device.name);
  return found != _claims.end() && found->second.device.isSame(device);
}

bool Claims::refusesPartOf(const BlockDevice& disk) const {
  const std::lock_guard lock(_mutex);
  return std::any_of(_claims.begin(), _claims.end(), [&disk](const auto& claim) {
    const BlockDevice& device = claim.second.device;
    return !device.isDisk() && device.disk == disk.name && device.sequence == disk.sequence;
  });
}

bool Claims::isInUse(const BlockDevice& device) {
  // Under the mutex, so that the trial is not taken for somebody else's use by retry().
  const std::lock_guard lock(_mutex);
  const Claim* claim = find(device);
  if (claim != nullptr && claim->state == State::held) {
    return false;
  }
  return !openExclusively(device) && errno == EBUSY;
}

ClaimLoan Claims::lend(const BlockDevice& device) {
  const std::lock_guard lock(_mutex);
  Claim* claim = find(device);
  if (claim != nullptr && claim->state == State::held) {
    claim->descriptor.reset();
    claim->state = State::lending;
  }
  return {*this, device};
}

void Claims::endLoan(const BlockDevice& device, bool mounted) {
  const std::lock_guard lock(_mutex);
  Claim* claim = find(device);
  if (claim == nullptr || claim->state != State::lending) {
    return;
  }
  claim->state = mounted ? State::lent : State::waiting;
  if (!mounted) {
    report(*claim, tryHold(*claim));
  }
}

int Claims::takeBack(const BlockDevice& device) {
  const std::lock_guard lock(_mutex);
  Claim* claim = find(device);
  if (claim == nullptr || claim->state == State::held) {
    return 0;
  }
  const bool wasLent = claim->state == State::lent;
  const int errorNumber = tryHold(*claim);
  const bool isNoLoss = errorNumber == ENODEV || (errorNumber == EBUSY && !wasLent);
  return isNoLoss ? 0 : errorNumber;
}

std::vector<BlockDevice> Claims::retry() {
  const std::lock_guard lock(_mutex);
  std::vector<BlockDevice> open;
  for (auto at = _claims.begin(); at != _claims.end();) {
    Claim& claim = at->second;
    const bool missing = claim.state == State::waiting || claim.state == State::lent;
    const int errorNumber = missing ? tryHold(claim) : 0;
    if (missing && errorNumber == 0) {
      _log.log(LogLevel::standard, "claimed " + claim.device.name);
    }
    if (errorNumber != 0 && errorNumber != ENODEV) {
      open.push_back(claim.device);
    }
    at = errorNumber == ENODEV ? _claims.erase(at) : std::next(at);
  }
  return open;
}

// 0 when the claim is held now, or an errno value. What was lent stays lent.
int Claims::tryHold(Claim& claim) const {
  if (!_devices.current(claim.device)) {
    return ENODEV;
  }
  Descriptor descriptor = openExclusively(claim.device);
  if (!descriptor) {
    return errno;
  }
  claim.descriptor = std::move(descriptor);
  claim.state = State::held;
  return 0;
}

// Without a descriptor, errno is set.
Descriptor Claims::openExclusively(const BlockDevice& device) const {
  Descriptor descriptor(
      ::open(_devices.node(device).c_str(), O_RDONLY | O_EXCL | O_CLOEXEC | O_NONBLOCK));
  if (descriptor && !isNode(descriptor, device.number)) {
    descriptor.reset();
    errno = ENODEV;
  }
  return descriptor;
}

Claims::Claim* Claims::find(const BlockDevice& device) {
  const auto found = _claims.find(device.name);
  return found != _claims.end() && found->second.device.isSame(device) ? &found->second : nullptr;
}

}  // namespace marrow
