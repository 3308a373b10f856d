marrow_layer(marrow_log daemon
  SOURCES
    close_check.cpp
    console_mirror.cpp
    log_channels.cpp
  HEADERS
    close_check.h
    console_mirror.h
    log_channels.h
  LINKS
    marrow_host)
