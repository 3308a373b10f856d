# Programs for the kernel, compiled by clang and put into ours as bytes. libbpf, which loads them, is
# needed for its headers alone: it is loaded itself at run time.
#
#   marrow_bpf_program(SOURCE NAME HEADER DEPENDS...)
#
# compiles SOURCE and sets MARROW_BPF_PROGRAM to a C++ file that defines the array NAME and its size
# NAMESize, as HEADER declares them in this folder. Once for a folder.
find_program(MARROW_BPF_CLANG NAMES clang clang-14 REQUIRED)

function(marrow_bpf_program source name header)
  cmake_path(GET source STEM LAST_ONLY stem)
  set(object ${CMAKE_CURRENT_BINARY_DIR}/${stem}.o)
  set(embedded ${CMAKE_CURRENT_BINARY_DIR}/${stem}.cpp)
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE folder)
  # The types of the kernel's programs are told by debug information, without which libbpf could not
  # fit them to the running kernel. BPF_PROG (libbpf) makes parameters that not every program uses.
  add_custom_command(OUTPUT ${object}
    COMMAND ${MARROW_BPF_CLANG} -target bpf -O2 -g -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
      -Wall -Wextra -Werror -Wno-unused-parameter -I ${PROJECT_SOURCE_DIR}
      -isystem /usr/include/${CMAKE_LIBRARY_ARCHITECTURE}
      -c ${source} -o ${object}
    WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
    DEPENDS ${source} ${ARGN} VERBATIM)
  add_custom_command(OUTPUT ${embedded}
    COMMAND ${CMAKE_COMMAND} -DOBJECT=${object} -DNAME=${name} -DHEADER=${folder}/${header}
      -DOUTPUT=${embedded} -P ${PROJECT_SOURCE_DIR}/cmake/EmbedBytes.cmake
    DEPENDS ${object} ${PROJECT_SOURCE_DIR}/cmake/EmbedBytes.cmake VERBATIM)
  set(MARROW_BPF_PROGRAM ${embedded} PARENT_SCOPE)
endfunction()
