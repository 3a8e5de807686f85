# What `cmake --install` puts where. Nothing in the prefix names the prefix, so it can be moved.
# Components: Runtime is what a linked program needs, Development is the rest.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VORN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Vorn)
file(RELATIVE_PATH VORN_LIBDIR_FROM_BIN /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
string(REGEX REPLACE "[^/]+" ".." VORN_PREFIX_FROM_PC ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# gdb runs the printers when it meets the library under the name that they are installed for: in /usr
# from gdb's own folder, elsewhere from beside the library, and there only if the user has said
# `add-auto-load-safe-path PREFIX`.
set(VORN_GDB_DIR ${CMAKE_INSTALL_LIBDIR})
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(VORN_GDB_DIR ${CMAKE_INSTALL_DATADIR}/gdb/auto-load/usr/${CMAKE_INSTALL_LIBDIR})
  # The system's loader finds the libraries.
  set_target_properties(vorn vornplatform PROPERTIES INSTALL_RPATH "")
endif()

set_target_properties(vornplatform PROPERTIES EXPORT_NAME platform)
target_include_directories(vorn INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/vorn>)
target_include_directories(vornplatform
  INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/vorn>)
install(TARGETS vorn vornplatform EXPORT Vorn
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT Runtime NAMELINK_COMPONENT Development)
install(DIRECTORY Vorn platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorn COMPONENT Development
  FILES_MATCHING PATTERN *.h PATTERN *Private.h EXCLUDE PATTERN posix EXCLUDE)

install(EXPORT Vorn NAMESPACE Vorn:: FILE VornTargets.cmake
  DESTINATION ${VORN_CMAKE_DIR} COMPONENT Development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VornConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES cmake/VornConfig.cmake ${PROJECT_BINARY_DIR}/VornConfigVersion.cmake
  DESTINATION ${VORN_CMAKE_DIR} COMPONENT Development)

set(VORN_LINKS "-lvorn -lvornplatform")
if(APPLE)  # -l finds names with "lib" alone.
  set(VORN_LINKS "\${libdir}/vorn.dylib \${libdir}/vornplatform.dylib")
endif()
if(VORN_HAVE_LOKI AND NOT TARGET vorn_loki)
  string(APPEND VORN_LINKS " -lloki")
endif()
configure_file(cmake/vorn.pc.in vorn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorn.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

install(FILES tools/debuggers/vorn.py DESTINATION ${VORN_GDB_DIR} COMPONENT Development
  RENAME $<TARGET_FILE_NAME:vorn>-gdb.py)
# lldb is told; it takes no name with dots.
install(FILES tools/debuggers/vorn.py DESTINATION ${CMAKE_INSTALL_DATADIR}/vorn
  COMPONENT Development RENAME vorn_lldb.py)

foreach(tool vorn-ini pooled-report)
  if(TARGET ${tool})
    if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
      set_target_properties(${tool} PROPERTIES
        INSTALL_RPATH $<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>/${VORN_LIBDIR_FROM_BIN})
    endif()
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Development)
  endif()
endforeach()

if(TARGET vorn-ini)
  # Debian's zsh looks where its packages put theirs.
  set(zsh_functions zsh/site-functions)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(zsh_functions zsh/vendor-completions)
  endif()
  install(FILES tools/completion/vorn-ini.bash COMPONENT Development RENAME vorn-ini
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES tools/completion/_vorn-ini COMPONENT Development
    DESTINATION ${CMAKE_INSTALL_DATADIR}/${zsh_functions})
endif()
if(TARGET manual)
  install(FILES ${PROJECT_BINARY_DIR}/tools/vorn-ini.1.gz COMPONENT Development
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
