# SPDX-License-Identifier: BSD-2-Clause-Patent
# What a configuration builds, decided in one place. An option that is asked
# for and cannot be met stops the configuration with the reason and the way
# out; nothing is left out silently.
#
# A board build (MXL_SYSTEM_LIBS) links the board's own libamx, trace and chip
# libraries. It never builds the chip simulator or the trace stand-in (a board
# must not get a second libclnkapi), hence none of the tests, benchmarks or
# fuzz targets, which run on them. Elsewhere the stand-ins are built, but they
# install only when their component is asked for by name (`--component
# platform`): a plain install holds the module and moca-host, nothing else.

if(MXL_SYSTEM_LIBS)
  set(mxl_tests_default OFF)
  set(mxl_bench_default OFF)
else()
  set(mxl_tests_default ON)
  find_package(benchmark QUIET)
  set(mxl_bench_default ${benchmark_FOUND})
endif()
option(MXL_BUILD_TESTS "Build the GoogleTest suites (needs the simulator: not in a board build)" ${mxl_tests_default})
option(MXL_BUILD_BENCH "Build the benchmarks (needs Google Benchmark and the simulator)" ${mxl_bench_default})
option(MXL_BUILD_HOST "Build moca-host; in a board build the board's (call, dump, check)" ON)

# mxl_refuse(OPTION REASON...): the reason's parts are joined as they are.
function(mxl_refuse option)
  string(JOIN "" why ${ARGN})
  message(FATAL_ERROR "${option}=ON cannot be met: ${why}")
endfunction()

if(MXL_SYSTEM_LIBS)
  foreach(opt MXL_BUILD_TESTS MXL_BUILD_BENCH MXL_FUZZ)
    if(${opt})
      mxl_refuse(${opt} "it runs on the chip simulator and the trace stand-in, which a board build "
        "(MXL_SYSTEM_LIBS=ON) never builds. Configure with -D${opt}=OFF, or without MXL_SYSTEM_LIBS.")
    endif()
  endforeach()
else()
  if(NOT MXL_SYSTEM_PREFIX STREQUAL "/usr")
    message(FATAL_ERROR "MXL_SYSTEM_PREFIX (${MXL_SYSTEM_PREFIX}) is read by a board build only: add "
      "-DMXL_SYSTEM_LIBS=ON to build against the libraries there, or drop it to build against the simulator.")
  endif()
  if(NOT MXL_BUILD_HOST)
    foreach(opt MXL_BUILD_TESTS MXL_BUILD_BENCH MXL_FUZZ)
      if(${opt})
        mxl_refuse(${opt} "it loads the module through moca-host's core, and MXL_BUILD_HOST is OFF.")
      endif()
    endforeach()
  endif()
  if(MXL_BUILD_BENCH AND NOT benchmark_FOUND)
    mxl_refuse(MXL_BUILD_BENCH "Google Benchmark was not found (Debian: libbenchmark-dev). "
      "Install it, or configure with -DMXL_BUILD_BENCH=OFF.")
  endif()
endif()

if(MXL_BUILD_HOST)
  find_package(nlohmann_json 3 QUIET)
  if(NOT nlohmann_json_FOUND)
    mxl_refuse(MXL_BUILD_HOST "moca-host needs nlohmann-json 3 to build (Debian: nlohmann-json3-dev, "
      "OpenWrt: nlohmann-json). Install it, or configure with -DMXL_BUILD_HOST=OFF to build the module alone.")
  endif()
endif()
