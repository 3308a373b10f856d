# The firmware's variables and what stands on them, the boot loader's entries, and the services of
# the machine that need no disk: power, display, keys, reboot.
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
  sha384.cpp
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
  sha384.h
  text_output.h)

# libcrypto is loaded when the first digest is asked for; only its header is needed here.
find_path(MARROW_OPENSSL_INCLUDE openssl/evp.h REQUIRED)
set(MARROW_LINUX_FIRMWARE_PRIVATE)
