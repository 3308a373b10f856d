#include "tests/linux/firmware/luks_image.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <utility>

namespace marrow {

namespace {

constexpr std::uintmax_t kImageSize = std::uintmax_t{2} << 20U;

// The smallest size that a copy of the header can have.
constexpr std::size_t kCopySize = std::size_t{16} << 10U;
constexpr std::size_t kBinaryPart = 4096;

// Few rounds: the key is none of anybody's.
std::string formatCommand(const std::string& type) {
  return "cryptsetup luksFormat -q --type " + type + " --pbkdf-force-iterations 1000" +
         (type == "luks2" ? " --pbkdf pbkdf2 --luks2-metadata-size 16k --luks2-keyslots-size 256k"
                          : "");
}

std::string passphraseTo(const std::string& command) {
  return "printf '%s' '" + std::string(kLuksPassphrase) + "' | " + command + " --key-file - ";
}

// What the command of the shell says; its exit status goes to `status`.
std::string saidBy(const std::string& command, int& status) {
  std::string text;
  FILE* const pipe = ::popen(command.c_str(), "re");
  std::array<char, 512> part{};
  while (pipe != nullptr && std::fgets(part.data(), part.size(), pipe) != nullptr) {
    text += part.data();
  }
  status = pipe != nullptr ? ::pclose(pipe) : -1;
  return text;
}

void runOrFail(const std::string& command) {
  int status = 0;
  const auto said = saidBy(command + " 2>&1", status);
  EXPECT_EQ(status, 0) << command << ": " << said;
}

}  // namespace

LuksImage::LuksImage(std::string path, const std::string& type) : _path(std::move(path)) {
  runOrFail(passphraseTo(formatCommand(type)) + _path);
}

void LuksImage::addToken(const std::string& json) const {
  runOrFail("printf '%s' '" + json + "' | cryptsetup token import " + _path);
}

std::string LuksImage::token(int number) const {
  int status = 0;
  return saidBy(
      "cryptsetup token export --token-id " + std::to_string(number) + " " + _path + " 2>/dev/null",
      status);
}

void LuksImage::damage(LuksCopy copy) const { overwrite(copy, kBinaryPart, 64); }

void LuksImage::erase(LuksCopy copy) const { overwrite(copy, 0, kCopySize); }

bool LuksImage::opens() const {
  int status = 0;
  saidBy(passphraseTo("cryptsetup open --test-passphrase") + _path + " 2>/dev/null", status);
  return status == 0;
}

void LuksImage::makeFileSystem() const {
  const std::string name = "test-of-" + std::filesystem::path(_path).filename().native();
  open(name);
  runOrFail("mkfs.ext4 -q /dev/mapper/" + name);
  runOrFail("cryptsetup close " + name);
}

void LuksImage::open(const std::string& name) const {
  runOrFail(passphraseTo("cryptsetup open") + _path + " " + name);
}

void LuksImage::overwrite(LuksCopy copy, std::size_t from, std::size_t size) const {
  std::fstream file(_path, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(static_cast<std::streamoff>((copy == LuksCopy::first ? 0 : kCopySize) + from));
  file << std::string(size, '\0');
  EXPECT_TRUE(file.flush()) << _path;
}

LuksImage makeLuksImage(const std::string& path) {
  std::ofstream{path};
  std::filesystem::resize_file(path, kImageSize);
  return LuksImage(path);
}

}  // namespace marrow
