# Two Debian packages, for a build that is configured for /usr; tools/package makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Vorn maintainers <maintainers@vorn.example>" CACHE STRING
  "Who answers for the packages")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL Runtime Development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvorn12)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "shared foundation library and its platform library
Allocator, text, locks, failures, configuration files and named objects that
the modules of an application share.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvorn-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libvorn12 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libloki-dev)
if(VORN_LINKS_LOKI)
  string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", libloki-dev")
endif()
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "headers, build files and tools of libvorn
What is needed to build against libvorn, printers for gdb and lldb, and two tools:
vorn-ini for configuration files and pooled-report for pool reports.")

string(TIMESTAMP VORN_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(CONFIGURE OUTPUT changelog CONTENT "vorn (${PROJECT_VERSION}) unstable; urgency=medium

  * Packaged from the source tree.

 -- ${CPACK_PACKAGE_CONTACT}  ${VORN_PACKAGE_DATE}
")
execute_process(COMMAND gzip -9nf changelog WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
foreach(component Runtime Development)
  string(TOUPPER ${component} name)
  install(FILES cmake/debian/copyright ${PROJECT_BINARY_DIR}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME}
    COMPONENT ${component})
endforeach()

include(CPack)
