# Installs the build into a fresh prefix, then builds and runs examples/host against it twice:
# through find_package(fusekit) and through pkg-config.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

function(expect_output text)
  foreach(expected "device QL256, family CorvaneQuillon, 6400 fuses" "data CRC 00002C48")
    string(FIND "${text}" "${expected}" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "host example printed:\n${text}\nwithout: ${expected}")
    endif()
  endforeach()
endfunction()

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

# CMake package.
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}/examples/host" -B "${WORK_DIR}/cmake-build"
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/cmake-build")
run("${WORK_DIR}/cmake-build/host_example")
expect_output("${run_output}")

# pkg-config.
find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} "${prefix}/lib/pkgconfig")
file(GLOB pc_dirs "${prefix}/lib*/pkgconfig" "${prefix}/lib/*/pkgconfig")
foreach(dir ${pc_dirs})
  set(ENV{PKG_CONFIG_PATH} "${dir}:$ENV{PKG_CONFIG_PATH}")
endforeach()
run(${PKG_CONFIG} --cflags --libs fusekit)
string(STRIP "${run_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} "${SOURCE_DIR}/examples/host/main.cpp" ${flags} -o "${WORK_DIR}/host_pkgconfig")
string(REGEX MATCH "-L([^ ;]+)" _ "${flags}")
set(ENV{LD_LIBRARY_PATH} "${CMAKE_MATCH_1}")
run("${WORK_DIR}/host_pkgconfig")
expect_output("${run_output}")

# pkg-config hands its users no language standard: they choose their own.
if(flags MATCHES "-std=")
  message(FATAL_ERROR "fusekit.pc forces a language standard: ${flags}")
endif()

# The installed tool starts from its prefix with no library path set, and works.
unset(ENV{LD_LIBRARY_PATH})
run("${prefix}/bin/fusekit" --version)
run("${prefix}/bin/fusekit" devices)
string(FIND "${run_output}" "QL256" at)
if(at EQUAL -1)
  message(FATAL_ERROR "the installed tool listed:\n${run_output}")
endif()

# The man page and the bash completion come with the tool.
foreach(file "share/man/man1/fusekit.1" "share/bash-completion/completions/fusekit")
  if(NOT EXISTS "${prefix}/${file}")
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
