# The daemon waits for disks and for other programs, not for itself: what counts is how much of it has to
# be in memory, and built for size two thirds of its code are left.
set(MARROW_SIZE_OPTIONS $<$<CONFIG:RelWithDebInfo>:-Os>)

# A folder is a layer: a static library whose headers are seen only by those that link it. Each
# layer's headers are linked into an include root of its own, so that including the header of a
# layer that a target does not link fails to build.
#
#   marrow_layer(NAME FOLDER
#     SOURCES   files of this folder
#     HEADERS   files of this folder
#     LINKS     layers (and libraries) that the headers and the sources may use
#     PRIVATE   libraries that only the sources use)
function(marrow_layer name folder)
  cmake_parse_arguments(PARSE_ARGV 2 layer "" "" "SOURCES;HEADERS;LINKS;PRIVATE")
  set(root ${PROJECT_BINARY_DIR}/include/${name})
  foreach(header IN LISTS layer_HEADERS)
    set(link ${root}/${folder}/${header})
    cmake_path(GET link PARENT_PATH place)
    file(MAKE_DIRECTORY ${place})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${link} SYMBOLIC)
  endforeach()
  add_library(${name} STATIC ${layer_SOURCES})
  target_include_directories(${name} PUBLIC ${root})
  target_compile_options(${name} PUBLIC -fmacro-prefix-map=${root}/= PRIVATE ${MARROW_SIZE_OPTIONS})
  target_link_libraries(${name} PUBLIC ${layer_LINKS} PRIVATE ${layer_PRIVATE} marrow_options)
endfunction()

# What starts in the base system brings the C++ library and libm along: to load and relocate them takes
# a third of the time that the program takes to its main, and two fifths of the memory. libm has to stand
# behind the C++ library, which is behind everything else, and g++ takes "-lm" for the shared one: a
# folder all of whose programs are SELF_CONTAINED has them as its CMAKE_CXX_STANDARD_LIBRARIES.
set(MARROW_SELF_CONTAINED_OPTIONS)
set(MARROW_SELF_CONTAINED_LIBRARIES)
if(NOT MARROW_SANITIZE)
  set(MARROW_SELF_CONTAINED_OPTIONS -static-libstdc++ -static-libgcc
    LINKER:-O1,--as-needed,--gc-sections,-z,pack-relative-relocs)
  set(MARROW_SELF_CONTAINED_LIBRARIES "-l:libstdc++.a -l:libm.a")
endif()

# A program, put beside the other products at the top of the build folder.
function(marrow_program name)
  cmake_parse_arguments(PARSE_ARGV 1 program "SELF_CONTAINED" "" "SOURCES;LINKS")
  add_executable(${name} ${program_SOURCES})
  if(program_SELF_CONTAINED)
    target_link_options(${name} PRIVATE ${MARROW_SELF_CONTAINED_OPTIONS})
    target_compile_options(${name} PRIVATE ${MARROW_SIZE_OPTIONS})
  endif()
  target_link_libraries(${name} PRIVATE ${program_LINKS} marrow_options)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
endfunction()
