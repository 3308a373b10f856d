# What every target is built with. Presets choose the rest.
option(MARROW_TESTS "Build the tests" ON)
set(MARROW_SANITIZE "" CACHE STRING "Sanitizers, separated by commas")
option(MARROW_COVERAGE "Count the lines that run" OFF)
option(MARROW_FUZZ "Build the fuzzers (clang)" OFF)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)

find_package(Threads REQUIRED)

add_library(marrow_options INTERFACE)
target_link_libraries(marrow_options INTERFACE Threads::Threads)
target_compile_options(marrow_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  -Wnull-dereference -Wimplicit-fallthrough -fstack-protector-strong)
# The log names the source of a message, from the top of the tree.
target_compile_options(marrow_options INTERFACE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
target_compile_definitions(marrow_options INTERFACE
  $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)

# A checker's report needs no more of the debugging information than names and lines.
if(MARROW_SANITIZE)
  add_compile_options(-fsanitize=${MARROW_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all -g1)
  add_link_options(-fsanitize=${MARROW_SANITIZE})
endif()
if(MARROW_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
if(MARROW_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined)
  add_link_options(-fsanitize=address,undefined)
endif()
