# cmake -DBUILD=FOLDER -DSOURCE=FOLDER -DCXX=COMPILER -DLIBDIR=lib -P install.cmake: the library is
# installed, the prefix moved, and projects built with it there, as README.md shows them.
set(work ${BUILD}/install_test)
set(prefix ${work}/moved)
file(REMOVE_RECURSE ${work})
file(COPY ${SOURCE}/examples/consumer ${SOURCE}/examples/embedded DESTINATION ${work})
set(ENV{CXX} ${CXX})

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

run(${CMAKE_COMMAND} -S ${work}/consumer -B ${work}/consumer/build -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${work}/consumer/build)
run(${CMAKE_COMMAND} --install ${work}/consumer/build --prefix ${work}/other)
run(${work}/other/bin/consumer ${work}/starts.ini)
expect("${out}" "Version 12.*start 1")

# tools/check packages builds this one too.
run(${CMAKE_COMMAND} -S ${work}/embedded -B ${work}/embedded/build -DFETCHCONTENT_SOURCE_DIR_VORN=${SOURCE})
file(READ ${work}/embedded/CMakeLists.txt text)
string(REGEX REPLACE "include.FetchContent.*MakeAvailable.Vorn." "add_subdirectory(vorn)" text "${text}")
file(WRITE ${work}/embedded/CMakeLists.txt "${text}")
file(CREATE_LINK ${SOURCE} ${work}/embedded/vorn SYMBOLIC)
run(${CMAKE_COMMAND} -S ${work}/embedded -B ${work}/embedded/build)

file(WRITE ${work}/next/CMakeLists.txt "cmake_minimum_required(VERSION 3.22)
project(next LANGUAGES NONE)
find_package(Vorn 13)
message(STATUS \"found '\${Vorn_FOUND}' of '\${Vorn_CONSIDERED_VERSIONS}'\")\n")
run(${CMAKE_COMMAND} -S ${work}/next -B ${work}/next -DCMAKE_PREFIX_PATH=${prefix})
expect("${out}" "found '0' of '12[0-9.]*'")

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
  run(sh -euc "cd \"$1\" && . ./build.sh" sh ${work}/consumer)
  run(${work}/consumer/consumer ${work}/starts.ini)
  expect("${out}" "Version 12.*start 2")
endif()

# A compilation that cannot work ends with one error, which says why.
file(WRITE ${work}/client.cpp "#include \"Vorn/Vorn.h\"\n")
foreach(option -std=c++17 "-std=c++20;-D_GLIBCXX_DEBUG")
  execute_process(COMMAND ${CXX} ${option} -I ${prefix}/include/vorn -fsyntax-only ${work}/client.cpp
    ERROR_VARIABLE out)
  string(REGEX MATCHALL "[^\n]* error: [^\n]*" errors "${out}")
  list(FILTER errors EXCLUDE REGEX "fatal error: '?C..20'?")
  list(LENGTH errors count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "${option} gives ${count} errors:\n${out}")
  endif()
  expect("${out}" "error: (#error )?\"Vorn (needs C|works with)")
endforeach()

find_program(GDB gdb)
if(GDB)
  run(${GDB} -nx -batch -iex "add-auto-load-safe-path ${prefix}" -ex "info pretty-printer"
    ${prefix}/${LIBDIR}/libvorn.so)
  expect("${out}" "libvorn[^\n]*\n *vorn\n *AttribValuePair")
endif()

find_program(LLDB lldb)
if(LLDB)  # Debian's does not find its own module, and follows the PATH to its Python.
  get_filename_component(folder ${LLDB} REALPATH)
  get_filename_component(folder ${folder} DIRECTORY)
  file(GLOB modules ${folder}/../lib/python3.*/dist-packages)
  run(${CMAKE_COMMAND} -E env PATH=/usr/bin:/bin PYTHONPATH=${modules} ${LLDB} --no-lldbinit --batch
    -o "command script import ${prefix}/share/vorn/vorn_lldb.py" -o "type summary list -w vorn")
  expect("${out}" "vorn_lldb.show_attrib_value_pair")
endif()

if(EXISTS ${prefix}/bin/vorn-ini)
  run(${prefix}/bin/vorn-ini --help)
  run(${prefix}/bin/pooled-report --help)
  file(GLOB completions ${prefix}/share/bash-completion/completions/vorn-ini
    ${prefix}/share/zsh/site-functions/_vorn-ini)
  expect("${completions}" "vorn-ini;.*_vorn-ini")
endif()
