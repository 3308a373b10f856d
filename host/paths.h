// Paths as text: joined and taken apart without asking the machine. A slash that is doubled, and
// one at the end, means nothing and is dropped from what comes back; the root keeps its slash. Any
// thread.
#pragma once

#include <string>
#include <string_view>

namespace marrow {

// `path`, one slash and `component`, which may itself hold slashes, one at its front included:
// appendPathComponent("/a/", "/b/c") is "/a/b/c". An empty path or component adds nothing.
std::string appendPathComponent(std::string_view path, std::string_view component);

// "c" of "/a/b/c/". The root's is "/"; the empty path has none and gives "".
std::string lastPathComponent(std::string_view path);

// "/a/b" of "/a/b/c/". The root's is "/"; that of a path of one relative component is "".
std::string deletingLastPathComponent(std::string_view path);

}  // namespace marrow
