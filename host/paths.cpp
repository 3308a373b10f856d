#include "host/paths.h"

namespace marrow {

namespace {

std::string withoutNeedlessSlashes(std::string_view path) {
  std::string text;
  for (const char character : path) {
    if (character != '/' || !text.ends_with('/')) {
      text += character;
    }
  }
  if (text.size() > 1 && text.ends_with('/')) {
    text.pop_back();
  }
  return text;
}

}  // namespace

std::string appendPathComponent(std::string_view path, std::string_view component) {
  if (path.empty() || component.empty()) {
    return withoutNeedlessSlashes(path.empty() ? component : path);
  }
  return withoutNeedlessSlashes(std::string(path) + '/' + std::string(component));
}

std::string lastPathComponent(std::string_view path) {
  const std::string text = withoutNeedlessSlashes(path);
  return text == "/" ? text : text.substr(text.rfind('/') + 1);
}

std::string deletingLastPathComponent(std::string_view path) {
  const std::string text = withoutNeedlessSlashes(path);
  const std::size_t slash = text.rfind('/');
  if (slash == std::string::npos) {
    return {};
  }
  return slash == 0 ? "/" : text.substr(0, slash);
}

}  // namespace marrow
