# A room is a folder under Sources/, or an inner one of it, and a static library; it links only what stands under it.

# larkmoor_prelude(NAME option...): the precompiled headers of what is compiled with these options.
function(larkmoor_prelude name)
  add_library(${name} OBJECT "${PROJECT_SOURCE_DIR}/CMake/Prelude.cpp")
  target_compile_options(${name} PRIVATE ${ARGN})
  target_precompile_headers(${name} PRIVATE "${PROJECT_SOURCE_DIR}/CMake/Prelude.h")
  target_link_libraries(${name} PRIVATE Boost::headers fmt::fmt Threads::Threads)
endfunction()
larkmoor_prelude(LarkmoorPrelude)

# What waits for most of its life is compiled to be small rather than fast: a program's code is most of what it costs
# at rest. SMALL still optimises what is measured against peers (-Os), SMALLEST gives that up too (-Oz). Each wants a
# prelude of its own.
function(larkmoor_small target degree)
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    target_compile_options(${target} PRIVATE ${LARKMOOR_${degree}})
    target_precompile_headers(${target} REUSE_FROM LarkmoorPrelude${degree})
  else()
    target_precompile_headers(${target} REUSE_FROM LarkmoorPrelude)
  endif()
endfunction()

set(LARKMOOR_SMALL -Os)
set(LARKMOOR_SMALLEST -Oz)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  foreach(degree SMALL SMALLEST)
    larkmoor_prelude(LarkmoorPrelude${degree} ${LARKMOOR_${degree}})
  endforeach()
endif()

# larkmoor_room(NAME SOURCES file... LINK library... [PRIVATE_LINK library...] [SMALL | SMALLEST])
function(larkmoor_room name)
  cmake_parse_arguments(PARSE_ARGV 1 room "SMALL;SMALLEST" "" "SOURCES;LINK;PRIVATE_LINK")
  add_library(${name} STATIC ${room_SOURCES})
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/Sources")
  target_link_libraries(${name} PUBLIC Boost::headers fmt::fmt Threads::Threads ${room_LINK} PRIVATE ${room_PRIVATE_LINK})
  if(room_SMALL)
    larkmoor_small(${name} SMALL)
  elseif(room_SMALLEST)
    larkmoor_small(${name} SMALLEST)
  else()
    target_precompile_headers(${name} REUSE_FROM LarkmoorPrelude)
  endif()
endfunction()

# larkmoor_tests(NAME SOURCES file... LINK library... [LABELS label...] [TIMEOUT seconds])
# One executable; each of its tests is a test of CTest.
function(larkmoor_tests name)
  cmake_parse_arguments(PARSE_ARGV 1 tests "" "TIMEOUT" "SOURCES;LINK;LABELS")
  if(NOT tests_TIMEOUT)
    set(tests_TIMEOUT 120)
  endif()
  add_executable(${name} ${tests_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/Tests")
  target_compile_definitions(${name} PRIVATE LARKMOOR_TEST_DATA="${PROJECT_SOURCE_DIR}/Tests/Data")
  target_link_libraries(${name} PRIVATE ${tests_LINK} GTest::gmock GTest::gtest_main)
  target_precompile_headers(${name} REUSE_FROM LarkmoorTestPrelude)
  set(properties TIMEOUT ${tests_TIMEOUT})
  if(tests_LABELS)
    list(APPEND properties LABELS "${tests_LABELS}")
  endif()
  if("concurrency" IN_LIST tests_LABELS)
    add_dependencies(concurrency-tests ${name})
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES ${properties})
endfunction()

# What the thread sanitizer's build is for: it need not build the rest.
add_custom_target(concurrency-tests)

# The fuzz targets and what they read with, without the programs.
add_custom_target(fuzzers)

# larkmoor_fuzzer(NAME LINK library...): Fuzz/NAME.cpp, with its seeds in Fuzz/Corpus/NAME.
function(larkmoor_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 fuzzer "" "" "LINK")
  add_executable(${name} "${PROJECT_SOURCE_DIR}/Fuzz/${name}.cpp")
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/Tests")
  target_link_libraries(${name} PRIVATE ${fuzzer_LINK})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  add_dependencies(fuzzers ${name})
endfunction()
