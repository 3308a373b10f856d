#include "tests/linux/system/journal_receiver.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr std::size_t kLargestDatagram = 1U << 20U;

// The descriptor that came with the message, or none.
Descriptor attached(msghdr& message) {
  const cmsghdr* const header = CMSG_FIRSTHDR(&message);
  if (header == nullptr) {
    return {};
  }
  int number = -1;
  std::memcpy(&number, CMSG_DATA(header), sizeof(number));
  return Descriptor(number);
}

std::string content(const Descriptor& file) {
  struct stat status {};
  EXPECT_EQ(::fstat(file.number(), &status), 0);
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  EXPECT_EQ(::pread(file.number(), bytes.data(), bytes.size(), 0), status.st_size);
  return bytes;
}

}  // namespace

JournalReceiver::JournalReceiver(std::string path)
    : _path(std::move(path)), _socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, _path.c_str(), sizeof(address.sun_path) - 1);
  EXPECT_EQ(::bind(_socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
            0)
      << _path;
}

std::optional<JournalFields> JournalReceiver::next() {
  std::string bytes(kLargestDatagram, '\0');
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
  iovec payload{bytes.data(), bytes.size()};
  msghdr message{};
  message.msg_iov = &payload;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  const ssize_t count = ::recvmsg(_socket.number(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (count < 0) {
    return std::nullopt;
  }
  bytes.resize(static_cast<std::size_t>(count));
  const Descriptor file = attached(message);
  _lastWasSealed = file && ::fcntl(file.number(), F_GET_SEALS) ==
                               (F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE);
  EXPECT_TRUE(!file || bytes.empty()) << "a payload beside a file";
  return parseJournalEntry(file ? content(file) : bytes);
}

void JournalReceiver::end() {
  _socket.reset();
  ::unlink(_path.c_str());
}

}  // namespace marrow
