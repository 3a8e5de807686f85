# cmake -DBUILD=FOLDER -DCONSUMER=FOLDER -DCXX=COMPILER -DLIBDIR=lib -P install.cmake: the library is
# installed, the prefix moved, and a project built against it there.
set(work ${BUILD}/install_test)
set(prefix ${work}/moved)
file(REMOVE_RECURSE ${work})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}: ${result}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

function(expect text pattern)
  if(NOT text MATCHES "${pattern}")
    message(FATAL_ERROR "'${pattern}' is not in\n${text}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${work}/prefix)
file(RENAME ${work}/prefix ${prefix})
file(GLOB others ${prefix}/include/vorn/*/*Private.h ${prefix}/include/vorn/*/posix)
if(others)
  message(FATAL_ERROR "installed although not public: ${others}")
endif()

if(EXISTS ${prefix}/bin/vorn-ini)
  foreach(file bash-completion/completions/vorn-ini zsh/site-functions/_vorn-ini)
    if(NOT EXISTS ${prefix}/share/${file})
      message(FATAL_ERROR "share/${file} is not installed")
    endif()
  endforeach()
endif()

run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${work}/consumer -DCMAKE_CXX_COMPILER=${CXX}
  -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${work}/consumer)
run(${work}/consumer/consumer ${work}/starts.ini)
expect("${out}" "Version 12.*start 1")

file(WRITE ${work}/next/CMakeLists.txt "cmake_minimum_required(VERSION 3.22)
project(next LANGUAGES CXX)
find_package(Vorn 13)
message(STATUS \"found '\${Vorn_FOUND}' of '\${Vorn_CONSIDERED_VERSIONS}'\")\n")
run(${CMAKE_COMMAND} -S ${work}/next -B ${work}/next -DCMAKE_CXX_COMPILER=${CXX}
  -DCMAKE_PREFIX_PATH=${prefix})
expect("${out}" "found '0' of '12[0-9.]*'")

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
  run(sh -euc "$1 -std=c++20 $2/main.cpp -o $3/by_pkg_config $(pkg-config --cflags --libs vorn) \
    -Wl,-rpath,$(pkg-config --variable=libdir vorn)" sh ${CXX} ${CONSUMER} ${work})
  run(${work}/by_pkg_config ${work}/starts.ini)
  expect("${out}" "Version 12.*start 2")
endif()

find_program(GDB gdb)
if(GDB)
  run(${GDB} -nx -batch -iex "add-auto-load-safe-path ${prefix}" -ex "info pretty-printer"
    ${prefix}/${LIBDIR}/libvorn.so)
  expect("${out}" "libvorn[^\n]*\n *vorn\n *AttribValuePair")
endif()

foreach(tool vorn-ini pooled-report)
  if(EXISTS ${prefix}/bin/${tool})
    run(${prefix}/bin/${tool} --help)
  endif()
endforeach()
