# How our own targets are compiled. Nothing here reaches a consumer. In the tree of
# another project its settings count, and its compiler's warnings are not its concern.

add_library(ZinBuildFlags INTERFACE)
# Files beyond 2 GiB and dates beyond 2038, also where a word has 32 bits: without
# these, a large file could there be neither opened, examined nor written further.
target_compile_definitions(ZinBuildFlags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(NOT ZIN_IN_OWN_TREE)
  return()
endif()

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build" FORCE)
endif()

option(ZIN_WARNINGS_AS_ERRORS "Treat warnings as errors (for developers of the library)" OFF)
set(ZIN_SANITIZERS "" CACHE STRING "Sanitizers for -fsanitize=, for example address,undefined")

target_compile_options(
  ZinBuildFlags
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wnon-virtual-dtor
            -Wold-style-cast
            -Wundef
            -Wformat=2
            $<$<BOOL:${ZIN_WARNINGS_AS_ERRORS}>:-Werror>)
if(ZIN_SANITIZERS)
  target_compile_options(
    ZinBuildFlags INTERFACE -fsanitize=${ZIN_SANITIZERS} -fno-sanitize-recover=all
                            -fno-omit-frame-pointer)
  target_link_options(ZinBuildFlags INTERFACE -fsanitize=${ZIN_SANITIZERS})
endif()
