// What the migrator left behind goes where it survives the reboot: its metrics into a firmware
// variable and that variable's shadow on the update volume, its log onto the update volume.
#include "daemon/close_check.h"
#include "daemon/daemon_manager.h"
#include "daemon/log_channels.h"
#include "host/paths.h"
#include "host/unicode.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>
#include <span>
#include <string_view>

namespace marrow {

namespace {

constexpr std::int64_t kMetricsLimit = 1024;  // bytes
constexpr char kMetricsVariable[] = "OTA-migrator-metrics";
constexpr char kFileOnlyVariables[] = "brask-file-only-vars";

// How much of a metrics file of this size is read; 0 when there is nothing to read.
std::size_t metricsReadLength(const std::string& path, std::int64_t size) {
  if (size > kMetricsLimit) {
    log(generalLogChannel(), LogLevel::error,
        "Loam Metrics: Truncating log from %@ to %d bytes from %d\n", path,
        static_cast<std::int32_t>(kMetricsLimit), static_cast<std::int32_t>(size));
    return kMetricsLimit;
  }
  if (size == 0) {
    log(generalLogChannel(), LogLevel::error, "Loam Metrics: Metrics file has a 0-size (%@).",
        path);
  }
  return static_cast<std::size_t>(size);
}

// The length without the white space at the end.
std::size_t trimmedLength(std::string_view text) {
  std::size_t length = text.size();
  while (length > 0 && std::isspace(static_cast<unsigned char>(text[length - 1])) != 0) {
    --length;
  }
  return length;
}

// Up to `length` bytes from the start of the file, without white space at the end and with a zero
// byte behind. Null when there is nothing to use, which is then logged.
std::unique_ptr<char[]> readMetrics(Files& files, int descriptor, const std::string& path,
                                    std::size_t length) {
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[length + 1]);
  if (!buffer) {
    log(generalLogChannel(), LogLevel::error,
        "Loam Metrics: Cannot allocate metrics buffer of size(%lu).", length + 1);
    return nullptr;
  }
  const std::int64_t count =
      files.read(descriptor, std::as_writable_bytes(std::span(buffer.get(), length)));
  if (count < 0) {
    log(generalLogChannel(), LogLevel::error,
        "Loam Metrics: Error reading metrics file into log buffer of size(%lu).", length);
    return nullptr;
  }
  const std::size_t kept = trimmedLength({buffer.get(), static_cast<std::size_t>(count)});
  if (kept == 0) {
    log(generalLogChannel(), LogLevel::error,
        "Loam Metrics: Metrics file only has space characters in it (%@).", path);
    return nullptr;
  }
  buffer[kept] = '\0';
  return buffer;
}

// The metrics of an open file, up to their first zero byte.
std::optional<std::string> metricsText(Files& files, int descriptor, const std::string& path) {
  FileStatus status;
  if (files.statusOf(descriptor, status) != 0) {
    const int errorNumber = errno;
    log(generalLogChannel(), LogLevel::error, "Loam Metrics: Error trying to stat file (%@). %s",
        path, errorNumberText(errorNumber));
    return std::nullopt;
  }
  const std::size_t length = metricsReadLength(path, status.size);
  const auto buffer = length == 0 ? nullptr : readMetrics(files, descriptor, path, length);
  if (!buffer) {
    return std::nullopt;
  }
  log(generalLogChannel(), LogLevel::standard, "Metrics from %@: %s\n", path, buffer.get());
  std::string text(buffer.get());
  if (!isValidUTF8(text)) {
    log(generalLogChannel(), LogLevel::error,
        "Loam Metrics: Metrics file could not be turned into a UTF-8 string.");
    return std::nullopt;
  }
  return text;
}

}  // namespace

void MWDaemonManager::_synchronizeTelemetryToUpdateVolume() {
  const auto storageController = _stateManager->storageController();
  const auto updateVolume = storageController->updateVolumeMountPoint();
  if (const auto metricsPath = _stateManager->loamMigratorMetricsPath()) {
    _writeLoamMigratorMetricsToNVRAMForPath(*metricsPath, updateVolume);
  }
  if (const auto logPath = _stateManager->loamMigratorLogPath(); logPath && updateVolume) {
    const std::string destination = appendPathComponent(*updateVolume, "loam_migrator.log");
    if (_services.fileTrees.moveFile(*logPath, destination) != 0) {
      const int errorNumber = errno;
      log(generalLogChannel(), LogLevel::error, "Failed to copy (%@) -> (%@). %s", *logPath,
          destination, errorNumberText(errorNumber));
    }
  }
  storageController->syncChangesToDisk(updateVolume);
}

void MWDaemonManager::_writeLoamMigratorMetricsToNVRAMForPath(
    const std::string& path, const std::optional<std::string>& updateVolume) {
  // Not blocking, so that whatever lies at the path cannot hold the reboot up; no link is followed,
  // so that nothing else of the machine gets into the firmware.
  const int descriptor = _services.files.open(
      path, OpenFlags::readOnly | OpenFlags::nonBlocking | OpenFlags::noFollow);
  if (descriptor < 0) {
    const int errorNumber = errno;
    log(generalLogChannel(), LogLevel::error, "Loam Metrics: Error trying to open file (%@). %s",
        path, errorNumberText(errorNumber));
    return;
  }
  const CheckedDescriptor file(_services.files, _services.process, descriptor);
  const auto metrics = metricsText(_services.files, file.get(), path);
  if (!metrics) {
    return;
  }
  if (!_services.firmwareVariables.setString(*metrics, kMetricsVariable, std::nullopt)) {
    log(generalLogChannel(), LogLevel::error, "Loam Metrics: Unable to write metrics to NVRAM.");
    return;
  }
  if (!_setShadowedNVRAMValue(*metrics, kMetricsVariable, updateVolume)) {
    log(generalLogChannel(), LogLevel::error,
        "Loam Metrics: Unable to write metrics to shadow file.");
    return;
  }
  _services.firmwareVariables.forceSync();
  _services.files.unlink(path);
  log(generalLogChannel(), LogLevel::standard,
      "Loam Metrics: Have been successfully written to NVRAM.");
}

bool MWDaemonManager::_setShadowedNVRAMValue(const std::string& value, const std::string& key,
                                             const std::optional<std::string>& updateVolume) {
  if (!updateVolume) {
    return true;
  }
  const std::string path = appendPathComponent(*updateVolume, "nvram.plist");
  auto variables = _services.propertyListFiles.readDictionary(path, nullptr);
  if (!variables) {
    return true;
  }
  variables->set(key, value);
  PropertyListValue* fileOnly = variables->find(kFileOnlyVariables);
  if (auto* entries = fileOnly ? fileOnly->as<PropertyListDictionary>() : nullptr) {
    entries->set(key, value);
  }
  return _services.propertyListFiles.writeDictionary(*variables, path);
}

}  // namespace marrow
