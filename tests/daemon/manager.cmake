marrow_test(manager_tests unit
  SOURCES
    daemon_manager_test.cpp
    log_events_test.cpp
    process_entry_test.cpp
    telemetry_handoff_test.cpp
    telemetry_metrics_test.cpp
    whole_run_faults_test.cpp
    whole_run_sweep_test.cpp
    whole_run_test.cpp
  LINKS
    marrow_manager
    marrow_in_memory_host)
