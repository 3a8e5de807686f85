# How every target of this project is compiled and linked.

function(vorn_configure target)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PUBLIC Threads::Threads)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(VORN_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(VORN_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${VORN_SANITIZE} -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${VORN_SANITIZE})
  endif()
  if(APPLE)
    # libc++ keeps std::jthread there, which examples and tests use.
    target_compile_options(${target} PRIVATE -fexperimental-library)
  else()
    # Calls between the two libraries, OS() above all, go straight through the address table instead
    # of through a stub that jumps there.
    target_compile_options(${target} PRIVATE -fno-plt)
    # Our own calls of what we export are direct, and may be inlined.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
endfunction()

# The linker of macOS takes either what is exported or what is not, and knows each name with an
# underscore before it.
function(vorn_export_list target exports)
  file(READ ${exports} script)
  set(kind exported)
  string(REGEX REPLACE ".*global:(.*)local:.*" "\\1" names "${script}")
  if(names MATCHES "\\*;")
    set(kind unexported)
    string(REGEX REPLACE ".*local:(.*)};.*" "\\1" names "${script}")
  endif()
  string(REGEX REPLACE "[ \n]*([^; \n]+);[ \n]*" "_\\1\n" names "${names}")
  set(list ${CMAKE_CURRENT_BINARY_DIR}/${target}.${kind})
  file(WRITE ${list} "${names}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports})
  target_link_options(${target} PRIVATE -Wl,-${kind}_symbols_list,${list})
endfunction()

function(vorn_shared_library target exports)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    BUILD_RPATH_USE_ORIGIN ON INSTALL_RPATH $<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>
    LINK_DEPENDS ${exports})
  # Never unloaded: blocks, the registry and exit handlers outlive whoever brought the library in.
  if(APPLE)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/platform/posix/NeverUnloaded_macos.cpp)
    # The name tells no version, the file does.
    set_target_properties(${target} PROPERTIES PREFIX ""
      MACHO_COMPATIBILITY_VERSION ${PROJECT_VERSION_MAJOR} MACHO_CURRENT_VERSION ${PROJECT_VERSION})
    vorn_export_list(${target} ${exports})
    return()
  endif()
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  target_link_options(${target} PRIVATE -Wl,-z,nodelete -Wl,--version-script=${exports})
  if(NOT VORN_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
endfunction()

# What the platform library allocates from, which its property VORN_ALLOCATOR tells. A sanitizer has to
# see every block, so it gets the C library's allocator.
function(vorn_choose_allocator target)
  if(NOT VORN_PLATFORM_ALLOCATOR MATCHES "^(auto|mimalloc|libc)$")
    message(FATAL_ERROR "VORN_PLATFORM_ALLOCATOR is auto, mimalloc or libc")
  endif()
  set_property(TARGET ${target} PROPERTY VORN_ALLOCATOR libc)
  if(VORN_SANITIZE OR VORN_PLATFORM_ALLOCATOR STREQUAL "libc")
    return()
  endif()
  if(APPLE AND VORN_PLATFORM_ALLOCATOR STREQUAL "auto")
    message(STATUS "mimalloc was not tried on macOS: the platform library allocates from the C library")
    return()
  endif()
  find_package(mimalloc QUIET)
  if(mimalloc_FOUND)
    set_property(TARGET ${target} PROPERTY VORN_ALLOCATOR ${VORN_PLATFORM_ALLOCATOR})
    target_link_libraries(${target} PUBLIC mimalloc ${CMAKE_DL_LIBS})
    string(TOUPPER VORN_ALLOCATOR_${VORN_PLATFORM_ALLOCATOR} definition)
    target_compile_definitions(${target} PRIVATE ${definition})
  elseif(VORN_PLATFORM_ALLOCATOR STREQUAL "mimalloc")
    message(FATAL_ERROR "mimalloc was asked for but not found: `apt-get install libmimalloc-dev` brings it")
  else()
    message(STATUS "mimalloc not found: the platform library allocates from the C library; `apt-get install libmimalloc-dev` brings it")
  endif()
endfunction()
