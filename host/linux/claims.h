// The claims: block devices that nobody may mount are kept open exclusively, which makes the
// kernel fail every mount of them with EBUSY (open(2), O_EXCL on a block device). A device that is
// in use is claimed as soon as it is free. Any thread; the table has a mutex of its own, and
// nothing waits for anything but the kernel while holding it.
#pragma once

#include "host/linux/block_devices.h"
#include "host/linux/descriptor.h"
#include "host/log.h"

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace marrow {

// A claim that is out of the way for a mount of our own. Destroyed before the mount was made, it
// takes the claim back.
class ClaimLoan {
 public:
  ClaimLoan(class Claims& claims, BlockDevice device)
      : _claims(claims), _device(std::move(device)) {}
  ClaimLoan(const ClaimLoan&) = delete;
  ClaimLoan& operator=(const ClaimLoan&) = delete;
  ~ClaimLoan();

  // The mount stands: the claim comes back when it is unmounted.
  void keep() { _kept = true; }

 private:
  Claims& _claims;
  BlockDevice _device;
  bool _kept = false;
};

class Claims {
 public:
  using Owner = const void*;  // who refuses; compared only

  Claims(const BlockDevices& devices, LogHandle& log) : _devices(devices), _log(log) {}

  // Claims the device for this owner too, now or as soon as it is free.
  void refuse(Owner owner, const BlockDevice& device);

  // Who refuses the first device refuses the other one too, which has just come to stand on it.
  void refuseAlso(const BlockDevice& device, const BlockDevice& above);

  // From now until the owner gives back, `look` is called whenever a claim is found to be in use:
  // somebody has to try again. On any thread, under the table's mutex.
  void watch(Owner owner, std::function<void()> look);

  // Gives back what nobody else refuses.
  void giveBack(Owner owner);

  // The device with this name has gone.
  void forget(const std::string& name);

  // True when it is claimed or will be.
  bool refuses(const BlockDevice& device) const;

  // The same of any partition of this disk.
  bool refusesPartOf(const BlockDevice& disk) const;

  // True when something other than a claim has it open exclusively: a mount in any mount
  // namespace, a device on top of it, or a program.
  bool isInUse(const BlockDevice& device);

  // Lets the caller mount the device. Nothing happens to one that is not claimed.
  ClaimLoan lend(const BlockDevice& device);

  // After an unmount: 0 when the device is claimed again, or need not be; EBUSY when it had been
  // lent and something else has it now.
  int takeBack(const BlockDevice& device);

  // Tries to claim what is not claimed yet, and returns what still is not. A device that has gone
  // is forgotten.
  std::vector<BlockDevice> retry();

 private:
  friend class ClaimLoan;

  // waiting: in use since before it was refused. lending: between the claim and our mount. lent:
  // our mount is in its place.
  enum class State : std::uint8_t { held, waiting, lending, lent };

  struct Claim {
    BlockDevice device;
    std::set<Owner> owners;
    Descriptor descriptor;
    State state = State::waiting;
  };

  void endLoan(const BlockDevice& device, bool mounted);
  void report(const Claim& claim, int errorNumber);
  int tryHold(Claim& claim) const;
  Descriptor openExclusively(const BlockDevice& device) const;
  Claim* find(const BlockDevice& device);

  const BlockDevices& _devices;
  LogHandle& _log;
  mutable std::mutex _mutex;
  std::map<std::string, Claim> _claims;              // by name, under _mutex
  std::map<Owner, std::function<void()>> _watchers;  // under _mutex
};

}  // namespace marrow
