#include "rehearsal/vm/screen_watch.h"

#include "rehearsal/files.h"
#include "rehearsal/vm/picture.h"

namespace marrow::rehearsal {
namespace {

// A picture with so much on the bar is worth more than any later one.
constexpr int kWorthKeeping = 50;

std::optional<int> anyBarOn(const Picture& picture) {
  const std::optional<int> bar = barOn(picture);
  return bar ? bar : splashBarOn(picture);
}

}  // namespace

void ScreenWatch::look() {
  if (!_awaited) {
    _awaited = ++_commands;
    _machine.command(
        qmpCommand(*_awaited, "screendump", {{"filename", _folder.path() / "screen.ppm"}}));
  }
}

std::optional<int> ScreenWatch::take(const QmpMessage& message) {
  if (!message.command || message.command != _awaited) {
    return std::nullopt;
  }
  _awaited.reset();
  const auto ppm = readFile(_folder.path() / "screen.ppm");
  const auto picture = ppm ? pictureFrom(*ppm) : std::nullopt;
  const std::optional<int> bar = picture ? anyBarOn(*picture) : std::nullopt;
  if (bar && *bar > _keptAt && _keptAt < kWorthKeeping) {
    _keptAt = *bar;
    keep();
  }
  return bar;
}

void ScreenWatch::keep() {
  _machine.command(qmpCommand(++_commands, "screendump", {{"filename", _kept}, {"format", "png"}}));
}

}  // namespace marrow::rehearsal
