marrow_layer(marrow_manager daemon
  SOURCES
    daemon_manager.cpp
    process_entry.cpp
    telemetry_handoff.cpp
  HEADERS
    daemon_manager.h
    process_entry.h
  LINKS
    marrow_operations
    marrow_power
    marrow_storage
    marrow_engine
    marrow_log
    marrow_host)

set(CMAKE_CXX_STANDARD_LIBRARIES "${MARROW_SELF_CONTAINED_LIBRARIES}")
marrow_program(marrowd SELF_CONTAINED SOURCES main.cpp LINKS marrow_manager marrow_linux)
