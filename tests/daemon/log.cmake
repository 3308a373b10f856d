marrow_test(log_tests unit
  SOURCES
    close_check_test.cpp
    console_mirror_test.cpp
    console_mirror_threads_test.cpp
    log_channels_test.cpp
  LINKS
    marrow_log
    marrow_in_memory_host)
