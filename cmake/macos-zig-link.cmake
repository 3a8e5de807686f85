# How cmake/macos-zig.cmake links; read behind the rules that CMake has for macOS.
set(link "clang++ --target=${CMAKE_SYSTEM_PROCESSOR}-apple-macos13.3 -fuse-ld=lld -nostdlib++ -lc++ --sysroot=${zig}/sysroot")
set(CMAKE_CXX_LINK_EXECUTABLE
  "${link} <CMAKE_CXX_LINK_FLAGS> <LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES>")
set(CMAKE_CXX_CREATE_SHARED_LIBRARY
  "${link} <CMAKE_SHARED_LIBRARY_CREATE_CXX_FLAGS> <LINK_FLAGS> -o <TARGET> <SONAME_FLAG> <TARGET_INSTALLNAME_DIR><TARGET_SONAME> <OBJECTS> <LINK_LIBRARIES>")
set(CMAKE_CXX_CREATE_SHARED_MODULE
  "${link} <CMAKE_SHARED_MODULE_CREATE_CXX_FLAGS> <LINK_FLAGS> -o <TARGET> <OBJECTS> <LINK_LIBRARIES>")
# CMake asks the system that it runs on whether there is such a thing.
set(CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG -Wl,-rpath,)
set(CMAKE_SHARED_LIBRARY_RUNTIME_CXX_FLAG -Wl,-rpath,)
