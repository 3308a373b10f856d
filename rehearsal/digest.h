// Short names for what is on the disk, to tell by them whether it changed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

struct evp_md_ctx_st;

namespace marrow::rehearsal {

enum class Algorithm { kSha256, kSha384 };

// Takes bytes and gives their digest. Not reusable after finish().
class Digest {
 public:
  explicit Digest(Algorithm algorithm = Algorithm::kSha256);
  ~Digest();
  Digest(const Digest&) = delete;
  Digest& operator=(const Digest&) = delete;

  void add(std::string_view bytes);

  // The raw bytes of the digest.
  std::string finish();

 private:
  std::unique_ptr<evp_md_ctx_st, void (*)(evp_md_ctx_st*)> _context;
};

// Two lower-case digits for each byte.
std::string hexadecimal(std::string_view bytes);

// The first ten hexadecimal digits of the SHA-256 of the bytes.
std::string shortDigest(std::string_view bytes);

// A short digest of all names, types, modes, owners, contents and link targets below the folder (or
// of the one file). Nothing when there is no such thing.
std::optional<std::string> treeDigest(const std::filesystem::path& root);

// A short digest of the blocks of a range of a file that hold anything but zeros, and of where they
// stand, so that holes cost nothing.
std::string rangeDigest(int descriptor, std::uint64_t begin, std::uint64_t length);

}  // namespace marrow::rehearsal
