#include "rehearsal/digest.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <algorithm>
#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace marrow::rehearsal {
namespace {

constexpr std::size_t kShort = 10;
constexpr std::size_t kBlock = 65536;

const EVP_MD* implementation(Algorithm algorithm) {
  return algorithm == Algorithm::kSha384 ? EVP_sha384() : EVP_sha256();
}

void require(int result) {
  if (result != 1) {
    throw Problem("The digest library failed.");
  }
}

std::vector<std::filesystem::path> sortedEntries(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> entries;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    entries.push_back(entry.path());
  }
  std::ranges::sort(entries);
  return entries;
}

void addFile(Digest& digest, const std::filesystem::path& path) {
  const Descriptor file = openFile(path, O_RDONLY | O_NOFOLLOW);
  std::vector<char> buffer(kBlock);
  while (true) {
    const ssize_t count =
        checked(::read(file.number(), buffer.data(), buffer.size()), "read " + path.string());
    if (count == 0) {
      return;
    }
    digest.add({buffer.data(), static_cast<std::size_t>(count)});
  }
}

void addEntry(Digest& digest, const std::filesystem::path& path, const std::string& name) {
  struct stat status {};
  checked(::lstat(path.c_str(), &status), "look at " + path.string());
  digest.add(name + '\0' + std::to_string(status.st_mode) + ' ' + std::to_string(status.st_uid) +
             ' ' + std::to_string(status.st_gid) + '\0');
  if (S_ISREG(status.st_mode)) {
    digest.add(std::to_string(status.st_size) + '\0');
    addFile(digest, path);
  } else if (S_ISLNK(status.st_mode)) {
    digest.add(std::filesystem::read_symlink(path).string() + '\0');
  } else if (S_ISDIR(status.st_mode)) {
    for (const auto& entry : sortedEntries(path)) {
      addEntry(digest, entry, name + '/' + entry.filename().string());
    }
  }
}

bool onlyZeros(std::string_view bytes) {
  return bytes.find_first_not_of('\0') == std::string_view::npos;
}

}  // namespace

Digest::Digest(Algorithm algorithm) : _context(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
  require(EVP_DigestInit_ex(_context.get(), implementation(algorithm), nullptr));
}

Digest::~Digest() = default;

void Digest::add(std::string_view bytes) {
  require(EVP_DigestUpdate(_context.get(), bytes.data(), bytes.size()));
}

std::string Digest::finish() {
  std::string result(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  require(
      EVP_DigestFinal_ex(_context.get(), reinterpret_cast<unsigned char*>(result.data()), &length));
  result.resize(length);
  return result;
}

std::string hexadecimal(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += kDigits[value / 16U];
    text += kDigits[value % 16U];
  }
  return text;
}

std::string shortDigest(std::string_view bytes) {
  Digest digest;
  digest.add(bytes);
  return hexadecimal(digest.finish()).substr(0, kShort);
}

std::optional<std::string> treeDigest(const std::filesystem::path& root) {
  struct stat status {};
  if (::lstat(root.c_str(), &status) != 0) {
    return std::nullopt;
  }
  Digest digest;
  addEntry(digest, root, "");
  return hexadecimal(digest.finish()).substr(0, kShort);
}

std::string rangeDigest(int descriptor, std::uint64_t begin, std::uint64_t length) {
  Digest digest;
  std::vector<char> buffer(kBlock);
  const auto end = static_cast<off_t>(begin + length);
  auto position = static_cast<off_t>(begin);
  while ((position = ::lseek(descriptor, position, SEEK_DATA)) >= 0 && position < end) {
    position -= position % static_cast<off_t>(kBlock);
    position = std::max(position, static_cast<off_t>(begin));
    const auto wanted = std::min(kBlock, static_cast<std::size_t>(end - position));
    const ssize_t count = checked(::pread(descriptor, buffer.data(), wanted, position), "read");
    const std::string_view block(buffer.data(), static_cast<std::size_t>(count));
    if (count == 0) {
      break;
    }
    if (!onlyZeros(block)) {
      digest.add(std::to_string(position) + '\0');
      digest.add(block);
    }
    position += count;
  }
  return hexadecimal(digest.finish()).substr(0, kShort);
}

}  // namespace marrow::rehearsal
