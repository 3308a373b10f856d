#include "rehearsal/staged_objects.h"

#include "rehearsal/files.h"
#include "rehearsal/interruption.h"

#include <algorithm>
#include <fcntl.h>
#include <random>
#include <string>
#include <vector>

namespace marrow::rehearsal {
namespace {

constexpr std::uint64_t kFilesInFolder = 20;
constexpr std::size_t kChunk = std::size_t{1} << 20U;
constexpr std::uint64_t kOverhead = 8192;

std::string noise(std::mt19937_64& generator, std::size_t length) {
  std::string bytes;
  bytes.reserve(length + sizeof(std::uint64_t));
  while (bytes.size() < length) {
    const std::uint64_t word = generator();
    bytes.append(reinterpret_cast<const char*>(&word), sizeof word);
  }
  bytes.resize(length);
  return bytes;
}

}  // namespace

std::uint64_t roomOf(const TreeSize& size) { return size.bytes + size.files * kOverhead; }

void makeObject(const std::filesystem::path& path, std::uint64_t bytes, std::uint64_t seed) {
  std::filesystem::create_directories(path.parent_path());
  const Descriptor file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  std::mt19937_64 generator(seed);
  while (bytes > 0) {
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, kChunk));
    writeAll(file.number(), noise(generator, length));
    bytes -= length;
  }
}

std::filesystem::path objectPath(std::uint64_t number) {
  return std::filesystem::path("extensions-" + std::to_string(number / kFilesInFolder)) /
         ("object-" + std::to_string(number) + ".bin");
}

void makeTree(const std::filesystem::path& root, const TreeSize& size, std::uint64_t seed,
              Interruption& interruption) {
  std::filesystem::create_directories(root);
  for (std::uint64_t i = 0; i < size.files; ++i) {
    interruption.check();
    const auto file = root / objectPath(i);
    const std::uint64_t rest = i < size.bytes % size.files ? 1 : 0;
    makeObject(file, size.bytes / size.files + rest, seed * 1000003 + i);
    std::filesystem::permissions(file, std::filesystem::perms{i % 2 == 0 ? 0644U : 0600U});
  }
  std::filesystem::create_symlink("extensions-0", root / "newest");
}

}  // namespace marrow::rehearsal
