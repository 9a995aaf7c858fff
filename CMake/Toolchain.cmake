# How every file of the tree is compiled. One set of options for all targets, so that they share precompiled headers.

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang" OR CMAKE_CXX_COMPILER_VERSION VERSION_LESS 19)
  message(FATAL_ERROR "Larkmoor needs Clang 19: GCC 12 destroys braced temporaries beside co_await twice")
endif()

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 17)

add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow -Wswitch -Wnon-virtual-dtor -Wold-style-cast
                    "$<$<COMPILE_LANGUAGE:C>:-Wno-old-style-cast>")
# Said once for all, since CMake tells libraries and programs apart and a precompiled header does not bear that.
add_compile_options(-fPIE)
add_link_options(-pie -fuse-ld=lld-19)

# Clang marks a precompiled header with its time, which would defeat the compiler cache.
add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
find_program(LARKMOOR_CCACHE ccache)
if(LARKMOOR_CCACHE)
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
               ${LARKMOOR_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
endif()

if(LARKMOOR_SANITIZE)
  add_compile_options(-fsanitize=${LARKMOOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -gline-tables-only)
  add_link_options(-fsanitize=${LARKMOOR_SANITIZE})
else()
  add_compile_options(-ffunction-sections -fdata-sections)
  add_link_options(-Wl,--gc-sections -Wl,--as-needed)
  # What is the same is there once, and relocations are packed: a tenth less of the program is resident.
  add_link_options(-Wl,--icf=safe -Wl,-z,pack-relative-relocs)
  # Nothing asks for a type's name or for the line that threw: 120 KB of texts.
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>")
  add_compile_definitions(BOOST_DISABLE_CURRENT_LOCATION BOOST_ASIO_DISABLE_BOOST_SOURCE_LOCATION)
endif()
if(LARKMOOR_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# The system's libraries are not ours to warn about, nor is their deprecated code.
add_compile_definitions(BOOST_ASIO_NO_DEPRECATED BOOST_ALLOW_DEPRECATED_HEADERS)
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(Boost 1.81 EXACT REQUIRED)
find_package(fmt REQUIRED)
# Its archive, since it is used once a day.
find_package(pugixml REQUIRED)
pkg_check_modules(plist REQUIRED IMPORTED_TARGET libplist-2.0)
# The archive, since the programs need one digest of it: the shared library costs 200 KB more of resident memory.
pkg_check_modules(nettle REQUIRED nettle)
find_library(LARKMOOR_NETTLE libnettle.a HINTS ${nettle_LIBRARY_DIRS} REQUIRED)
pkg_check_modules(sqlite3 REQUIRED sqlite3)
pkg_check_modules(systemd REQUIRED IMPORTED_TARGET libsystemd)
