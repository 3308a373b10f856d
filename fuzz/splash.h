// A splash daemon of the fuzzer's own: a thread that reads requests and answers with what it was
// given.
#pragma once

#include "fuzz/fuzz.h"

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace marrow {

class Splash {
 public:
  Splash() : _listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    const std::string name = address();
    std::memcpy(place.sun_path + 1, name.data() + 1, name.size() - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    expect(::bind(_listener, reinterpret_cast<sockaddr*>(&place), length) == 0 &&
               ::listen(_listener, 1) == 0,
           "the splash listens");
    std::thread([this] { run(); }).detach();
  }

  // A name of the abstract namespace.
  static std::string address() { return "@marrow-fuzz-" + std::to_string(::getpid()); }

  // For the next connection: each byte answers a request; the connection is closed at kHangUp and
  // when there are no more. kChatter sends answers that nobody asked for as well.
  void answerWith(std::string_view answers) {
    const std::lock_guard lock(_mutex);
    _answers = answers;
    _served = false;
  }

  // Returns when the connection is over.
  void finish() {
    std::unique_lock lock(_mutex);
    _change.wait(lock, [this] { return _served; });
  }

 private:
  static constexpr char kHangUp = '\xFF';
  static constexpr char kChatter = '\xFE';

  void run() {
    for (;;) {
      const int connection = ::accept(_listener, nullptr, nullptr);
      serve(connection);
      ::close(connection);
      const std::lock_guard lock(_mutex);
      _served = true;
      _change.notify_all();
    }
  }

  void serve(int connection) {
    for (const char answer : _answers) {
      if (answer == kHangUp || !readRequest(connection)) {
        return;
      }
      const std::string bytes =
          answer == kChatter ? std::string("\6\6\6\25", 4) : std::string(1, answer);
      ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
  }

  static bool readByte(int connection, unsigned char& byte) {
    return ::recv(connection, &byte, 1, 0) == 1;
  }

  // A letter and a zero byte, or a letter, 2, the length with the zero byte, and a text that ends
  // with it, and one more zero byte. False when the display has gone.
  static bool readRequest(int connection) {
    unsigned char byte = 0;
    if (!readByte(connection, byte)) {
      return false;
    }
    expect(std::strchr("PC$u", byte) != nullptr && byte != 0, "a request is one that is known");
    expect(readByte(connection, byte) && (byte == 0 || byte == 2), "a request has an end");
    if (byte == 0) {
      return true;
    }
    expect(readByte(connection, byte) && byte > 1, "an argument has a length");
    std::string argument(byte, '\0');
    expect(::recv(connection, argument.data(), argument.size(), MSG_WAITALL) == byte &&
               argument.find('\0') == argument.size() - 1,
           "an argument is a text of that length");
    return true;
  }

  const int _listener;
  std::mutex _mutex;
  std::condition_variable _change;
  std::string _answers;  // under _mutex, or the splash's own while a connection is served
  bool _served = true;   // under _mutex
};

}  // namespace marrow
