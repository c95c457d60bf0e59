# SPDX-License-Identifier: MIT
cmake_minimum_required(VERSION 3.25)
# cmake -P: installs the build into a fresh prefix, checks what landed there, then builds and runs
# (offscreen) one host through find_package(Brennvox10), one through pkg-config and the compiler, and
# the minimal example of examples/minimal.
if(SANITIZED)
  message("SKIPPED: a sanitizer build's library links only into hosts built with the same flags")
  return()
endif()

include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${WORK})
run("install" ${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})

foreach(f include/Brennvox10/Brennvox10.h include/Brennvox10/ctlListRecord.h
    include/Brennvox10/brennvox10_export.h ${LIBDIR}/libBrennvox10.so ${LIBDIR}/libBrennvox10.so.1
    ${LIBDIR}/conf/lrfmt.conf ${LIBDIR}/cmake/Brennvox10/Brennvox10Config.cmake
    ${LIBDIR}/cmake/Brennvox10/Brennvox10ConfigVersion.cmake ${LIBDIR}/pkgconfig/brennvox10.pc
    bin/brennvox10-info)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()
if(PLUGINDIR AND NOT EXISTS ${prefix}/${PLUGINDIR}/libbrennvox10designer.so)
  message(FATAL_ERROR "Designer plugin not installed in ${PLUGINDIR}")
endif()
# Private headers stay private.
file(GLOB_RECURSE private ${prefix}/include/*_p.h ${prefix}/include/*version.h)
if(private)
  message(FATAL_ERROR "private headers installed: ${private}")
endif()

run("brennvox10-info" ${prefix}/bin/brennvox10-info ${prefix}/${LIBDIR}/libBrennvox10.so.1)
if(NOT out MATCHES "FileVersion: 1\\.00\\.0001\n")
  message(FATAL_ERROR "brennvox10-info on the installed library:\n${out}")
endif()

set(expected "^Brennvox10 1\\.00\\.0001 ctlListRecord\n$")

run("configure the CMake host" ${CMAKE_COMMAND} -S ${HOST} -B ${WORK}/cmake-host -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_CXX_COMPILER=${CXX})
run("build the CMake host" ${CMAKE_COMMAND} --build ${WORK}/cmake-host)
run("run the CMake host" ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen ${WORK}/cmake-host/host)
if(NOT out MATCHES "${expected}")
  message(FATAL_ERROR "the CMake host printed: ${out}")
endif()

run("pkg-config" ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/${LIBDIR}/pkgconfig
  pkg-config --cflags --libs brennvox10)
string(STRIP "${out}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run("build the pkg-config host" ${CXX} -std=c++20 -fPIC ${HOST}/main.cpp -o ${WORK}/pc-host ${flags}
  -Wl,-rpath,${prefix}/${LIBDIR})
run("run the pkg-config host" ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen ${WORK}/pc-host)
if(NOT out MATCHES "${expected}")
  message(FATAL_ERROR "the pkg-config host printed: ${out}")
endif()

# The minimal example, a project of its own, built against the same prefix and run offscreen over a
# sample database of known size with the installed default definition: it must show every row and
# save the window.
run("configure the minimal example" ${CMAKE_COMMAND} -S ${MINIMAL} -B ${WORK}/minimal
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX})
run("build the minimal example" ${CMAKE_COMMAND} --build ${WORK}/minimal)
if(NOT SAMPLE_GENERATOR)
  message("installed, and both hosts and the minimal example built against ${prefix}; the minimal "
    "example did not run: no sample generator in this build (BRENNVOX10_BUILD_DEMO=OFF)")
  return()
endif()
run("write the sample database" ${SAMPLE_GENERATOR} ${WORK}/minimal/sample.db 37)
file(REMOVE ${WORK}/minimal/window.png)
run("run the minimal example" ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen
  ${WORK}/minimal/minimal ${WORK}/minimal/sample.db ${prefix}/${LIBDIR}/conf/lrfmt.conf
  --screenshot ${WORK}/minimal/window.png)
if(NOT out STREQUAL "37 rows\n")
  message(FATAL_ERROR "the minimal example printed: ${out}")
endif()
file(SIZE ${WORK}/minimal/window.png _size)
if(_size LESS 1000)
  message(FATAL_ERROR "the minimal example's window image is ${_size} bytes")
endif()
message("installed, and both hosts and the minimal example built and ran against ${prefix}")
