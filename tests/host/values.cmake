marrow_test(host_values_test unit
  SOURCES
    error_record_test.cpp
    progress_test.cpp
    property_list_test.cpp
    text_format_test.cpp
    unicode_test.cpp
  LINKS
    marrow_host)
