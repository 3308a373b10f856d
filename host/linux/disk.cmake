# The disks: registry, partition library, arbitration, device names.
find_package(PkgConfig REQUIRED)
pkg_check_modules(blkid REQUIRED IMPORTED_TARGET blkid)
pkg_check_modules(mount REQUIRED IMPORTED_TARGET mount)
# libcryptsetup is loaded when the first encrypted volume is met; only its header is needed here.
find_path(MARROW_CRYPTSETUP_INCLUDE libcryptsetup.h REQUIRED)

set(MARROW_LINUX_DISK_SOURCES
  blkid_probe.cpp
  block_devices.cpp
  bpf_library.cpp
  claims.cpp
  crypt_library.cpp
  device_events.cpp
  device_stack.cpp
  device_tree.cpp
  encrypted_volumes.cpp
  file_system_probe.cpp
  held_thing.cpp
  kernel_events.cpp
  kernel_holders.cpp
  kernel_key.cpp
  linux_da_session.cpp
  linux_device_names.cpp
  linux_device_registry.cpp
  linux_disk_arbitration.cpp
  linux_disks.cpp
  linux_loam_container.cpp
  linux_loam_volume.cpp
  linux_partition_library.cpp
  loam_containers.cpp
  loop_status.cpp
  luks_probe.cpp
  mount_attempts.cpp
  mount_gate.cpp
  mount_gate_program.cpp
  mount_holders.cpp
  mount_remover.cpp
  mount_source.cpp
  mount_spaces.cpp
  mount_table.cpp
  partition_table.cpp
  process_directories.cpp
  process_end.cpp
  registry_handles.cpp
  temporary_mounts.cpp
  udev_queue.cpp
  volume_unmounter.cpp)

set(MARROW_LINUX_DISK_HEADERS
  blkid_probe.h
  c_text.h
  block_devices.h
  bpf_library.h
  claims.h
  crypt_library.h
  device_events.h
  device_stack.h
  device_tree.h
  disk_error.h
  encrypted_volumes.h
  file_system_probe.h
  held_thing.h
  kernel_events.h
  kernel_holders.h
  kernel_key.h
  linux_da_session.h
  linux_device_names.h
  linux_device_registry.h
  linux_disk_arbitration.h
  linux_disks.h
  linux_loam_container.h
  linux_loam_volume.h
  linux_partition_library.h
  loam_containers.h
  loop_status.h
  luks_probe.h
  mount_attempts.h
  mount_gate.h
  mount_gate_object.h
  mount_gate_program.h
  mount_gate_records.h
  mount_holders.h
  mount_remover.h
  mount_source.h
  mount_spaces.h
  mount_table.h
  partition_table.h
  shared_library.h
  process_directories.h
  process_end.h
  registry_handles.h
  settling.h
  temporary_mounts.h
  udev_queue.h
  volume_unmounter.h)

include(BpfProgram)
marrow_bpf_program(mount_gate.bpf.c kMountGateObject mount_gate_object.h mount_gate_records.h)
list(APPEND MARROW_LINUX_DISK_SOURCES ${MARROW_BPF_PROGRAM})

set(MARROW_LINUX_DISK_PRIVATE PkgConfig::blkid PkgConfig::mount)
