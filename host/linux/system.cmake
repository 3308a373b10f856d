# The services of the system: log, task queues, processes, files, property lists.

# The archive, for the shared library would bring the shared C++ library along (see cmake/Layers.cmake).
find_library(MARROW_PUGIXML libpugixml.a REQUIRED)

set(MARROW_LINUX_SYSTEM_SOURCES
  directory_entry.cpp
  file_metadata.cpp
  file_move.cpp
  journal_entry.cpp
  journal_fields.cpp
  journal_socket.cpp
  kernel_log.cpp
  linux_clock.cpp
  linux_file_handles.cpp
  linux_file_trees.cpp
  linux_files.cpp
  linux_launched_task.cpp
  linux_log.cpp
  linux_process.cpp
  linux_property_list_files.cpp
  linux_task_launcher.cpp
  linux_task_queues.cpp
  linux_temporary_directory.cpp
  loop_timer.cpp
  message_ids.cpp
  property_list_elements.cpp
  property_list_reader.cpp
  property_list_text.cpp
  property_list_writer.cpp
  readiness_thread.cpp
  removal_helper.cpp
  sealed_memory.cpp
  service_notification.cpp
  socket_address.cpp
  staged_file.cpp
  strict_open.cpp
  superseded_mark.cpp
  task_loop.cpp
  termination_guard.cpp
  text_cut.cpp
  tree_removal.cpp
  xml_text.cpp)

set(MARROW_LINUX_SYSTEM_HEADERS
  directory_entry.h
  errno_keeper.h
  file_metadata.h
  file_move.h
  journal_entry.h
  journal_fields.h
  journal_socket.h
  kernel_log.h
  linux_clock.h
  linux_file_handles.h
  linux_file_trees.h
  linux_files.h
  linux_launched_task.h
  linux_log.h
  linux_process.h
  linux_property_list_files.h
  linux_task_launcher.h
  linux_task_queues.h
  linux_temporary_directory.h
  loop_timer.h
  message_ids.h
  property_list_elements.h
  property_list_reader.h
  property_list_text.h
  property_list_writer.h
  readiness_thread.h
  removal_helper.h
  retry.h
  sealed_memory.h
  service_notification.h
  socket_address.h
  staged_file.h
  strict_open.h
  superseded_mark.h
  task_loop.h
  termination_guard.h
  unique_key.h
  text_cut.h
  tree_removal.h
  xml_text.h)

set(MARROW_LINUX_SYSTEM_PRIVATE ${MARROW_PUGIXML})
