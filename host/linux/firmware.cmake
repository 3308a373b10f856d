# The firmware's variables and what stands on them, the boot loader's entries, and the services of
# the machine that need no disk: power, display, keys, reboot.
find_package(nlohmann_json REQUIRED)

set(MARROW_LINUX_FIRMWARE_SOURCES
  boot_loader_entries.cpp
  efi_variable_file.cpp
  efi_variable_store.cpp
  kernel_command_line.cpp
  linux_boot_policy.cpp
  linux_firmware_variables.cpp
  linux_graphics_server.cpp
  linux_installer_utilities.cpp
  linux_kernel_variables.cpp
  linux_key_store.cpp
  linux_os_variant.cpp
  linux_power_assertions.cpp
  linux_progress_display.cpp
  linux_reboot.cpp
  os_release.cpp
  plymouth_connection.cpp
  progress_bar.cpp
  progress_screen.cpp
  sha384.cpp
  sleep_inhibitor.cpp
  stash_token.cpp
  system_bus_library.cpp
  text_output.cpp)
set(MARROW_LINUX_FIRMWARE_HEADERS
  boot_loader_entries.h
  broken_pipe_guard.h
  efi_variable_file.h
  efi_variable_store.h
  kernel_command_line.h
  linux_boot_policy.h
  linux_firmware_variables.h
  linux_graphics_server.h
  linux_installer_utilities.h
  linux_kernel_variables.h
  linux_key_store.h
  linux_os_variant.h
  linux_power_assertions.h
  linux_progress_display.h
  linux_reboot.h
  missing_service.h
  os_release.h
  plymouth_connection.h
  progress_bar.h
  progress_screen.h
  sha384.h
  sleep_inhibitor.h
  stash_token.h
  system_bus_library.h
  text_output.h)

# libsystemd is loaded when a message bus is there: only its headers are needed here. The digest comes
# from libmd, a fiftieth of libcrypto's size.
find_path(MARROW_SYSTEMD_INCLUDE systemd/sd-bus.h REQUIRED)
find_library(MARROW_MD md REQUIRED)
set(MARROW_LINUX_FIRMWARE_PRIVATE ${MARROW_MD} nlohmann_json::nlohmann_json)
