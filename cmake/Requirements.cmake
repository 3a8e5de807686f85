# What building cannot do without, looked for first; what is missing is named with its Debian package,
# and looked for again the next time.
include(CheckLanguage)
check_language(CXX)
if(NOT CMAKE_CXX_COMPILER)
  unset(CMAKE_CXX_COMPILER CACHE)
  message(FATAL_ERROR "No C++ compiler found: `apt-get install g++` brings one")
endif()
enable_language(CXX)

include(CheckCXXSourceCompiles)
set(CMAKE_CXX_STANDARD 20)
check_cxx_source_compiles("
#include <atomic>
constinit int count = 0;
int main() { return std::atomic_ref(count).load(); }" VORN_COMPILER_HAS_CXX20)
if(NOT VORN_COMPILER_HAS_CXX20)
  unset(VORN_COMPILER_HAS_CXX20 CACHE)
  message(FATAL_ERROR "${CMAKE_CXX_COMPILER} (${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}) cannot compile "
    "what the library needs of C++20; GCC 12 and Clang 14 can: `apt-get install g++`")
endif()

find_path(VORN_ICU_INCLUDE_DIR unicode/utf8.h DOC "Where ICU's headers are")
mark_as_advanced(VORN_ICU_INCLUDE_DIR)
if(NOT VORN_ICU_INCLUDE_DIR)
  message(FATAL_ERROR "ICU's headers not found: `apt-get install libicu-dev` brings them")
endif()

find_package(Threads REQUIRED)
