// The update volume's shadow of the firmware variables, a property list.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace pugi {
class xml_node;
}

namespace marrow::rehearsal {

struct ShadowFile {
  std::optional<std::string> metrics;
  // Whether there is a dictionary "brask-file-only-vars", and the metrics in it.
  bool hasInner = false;
  std::optional<std::string> innerMetrics;
  // All types and values but those two, white space between them left out; absent without a file.
  std::optional<std::string> everythingElse;
};

// A file that is missing or no property list reads as empty.
ShadowFile readShadowFile(const std::filesystem::path& file);

// The value of a key of a dictionary, or an empty node.
pugi::xml_node valueOf(const pugi::xml_node& dictionary, const std::string& key);

}  // namespace marrow::rehearsal
