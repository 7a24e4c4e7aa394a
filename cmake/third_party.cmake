# SPDX-License-Identifier: BSD-2-Clause-Patent
# Builds third-party components from their release archives into a staging
# prefix inside the build folder, once: a component is rebuilt only when its
# line in third_party/components.txt or the compiler changes, never by an
# ordinary rebuild of the project. Each archive's SHA-256 is checked first.
#
# Archives come from MXL_DEPS_DIR (CMake variable or environment); without it
# from the component's upstream tag, for machines that reach it.
#
#   mxl_third_party(libamxc libamxp libamxm)
# builds the named components (in the manifest's order) and defines an
# imported shared library for each libamx one (amxc, amxp, ...), plus
#   MXL_TP_STAGE    the staging root (usr/include, usr/lib/<multiarch>, usr/bin)
#   MXL_TP_LIBDIR   its library folder
#   MXL_TP_INCLUDE  its include folder

set(MXL_DEPS_DIR "" CACHE PATH "Folder of the third-party source archives (third_party/components.txt)")
if(NOT MXL_DEPS_DIR AND DEFINED ENV{MXL_DEPS_DIR})
  set(MXL_DEPS_DIR "$ENV{MXL_DEPS_DIR}" CACHE PATH "Folder of the third-party source archives" FORCE)
endif()
set(MXL_TP_MANIFEST ${PROJECT_SOURCE_DIR}/third_party/components.txt)
set(MXL_TP_ROOT ${CMAKE_BINARY_DIR}/third_party)
set(MXL_TP_STAGE ${MXL_TP_ROOT}/stage)

# A cross build builds them with the target's compiler; a native one with the
# system's C compiler, whatever compiler (clang for the fuzzers) builds the project.
if(CMAKE_CROSSCOMPILING)
  set(MXL_TP_CC ${CMAKE_C_COMPILER})
else()
  find_program(MXL_TP_CC NAMES gcc cc REQUIRED)
endif()
execute_process(COMMAND ${MXL_TP_CC} -dumpmachine OUTPUT_VARIABLE MXL_TP_MACHINE OUTPUT_STRIP_TRAILING_WHITESPACE)
set(MXL_TP_LIBDIR ${MXL_TP_STAGE}/usr/lib/${MXL_TP_MACHINE})
set(MXL_TP_INCLUDE ${MXL_TP_STAGE}/usr/include)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${MXL_TP_MANIFEST})

# Reads the manifest line of component NAME into <prefix>_VERSION, _ARCHIVE,
# _SHA256, _REPO, _TAG, _BUILD and _LINE.
function(mxl_tp_read name prefix)
  file(STRINGS ${MXL_TP_MANIFEST} lines REGEX "^${name}[ \t]")
  if(NOT lines)
    message(FATAL_ERROR "third-party component ${name} is not in ${MXL_TP_MANIFEST}")
  endif()
  string(REGEX REPLACE "[ \t]+" ";" fields "${lines}")
  list(LENGTH fields n)
  if(NOT n EQUAL 7)
    message(FATAL_ERROR "${MXL_TP_MANIFEST}: the line of ${name} needs 7 fields, has ${n}")
  endif()
  list(GET fields 1 version)
  list(GET fields 2 archive)
  list(GET fields 3 sha)
  list(GET fields 4 repo)
  list(GET fields 5 tag)
  list(GET fields 6 kind)
  foreach(f VERSION version ARCHIVE archive SHA256 sha REPO repo TAG tag BUILD kind)
    if(f MATCHES "^[A-Z]")
      set(key ${f})
    else()
      set(${prefix}_${key} ${${f}} PARENT_SCOPE)
    endif()
  endforeach()
  set(${prefix}_LINE "${lines}" PARENT_SCOPE)
endfunction()

function(mxl_tp_run what log)
  execute_process(COMMAND ${ARGN} OUTPUT_FILE ${log} ERROR_FILE ${log} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    file(READ ${log} out)
    string(LENGTH "${out}" len)
    if(len GREATER 4000)
      math(EXPR from "${len} - 4000")
      string(SUBSTRING "${out}" ${from} -1 out)
    endif()
    message(FATAL_ERROR "third-party ${what} failed (${rc}); log ${log}:\n${out}")
  endif()
endfunction()

# The archive of a component, checked: from MXL_DEPS_DIR or downloaded.
function(mxl_tp_archive name out)
  mxl_tp_read(${name} c)
  if(MXL_DEPS_DIR)
    set(file ${MXL_DEPS_DIR}/${c_ARCHIVE})
    if(NOT EXISTS ${file})
      message(FATAL_ERROR "${file} not found (MXL_DEPS_DIR=${MXL_DEPS_DIR})")
    endif()
  else()
    # Only the GitLab archive form is known; libubox and ubus live in OpenWrt's
    # git at a commit, which offers no archive with a stable checksum: they need
    # MXL_DEPS_DIR.
    if(NOT c_REPO MATCHES "^https://gitlab.com/")
      message(FATAL_ERROR "${name}: no downloadable archive of ${c_REPO} at ${c_TAG}; set MXL_DEPS_DIR to a folder of the archives")
    endif()
    get_filename_component(base ${c_ARCHIVE} NAME)
    set(file ${MXL_TP_ROOT}/downloads/${base})
    string(REGEX REPLACE "\\.tar\\.gz$" "" dir ${base})
    message(STATUS "third party: downloading ${name} ${c_TAG} from ${c_REPO}")
    file(DOWNLOAD ${c_REPO}/-/archive/${c_TAG}/${dir}.tar.gz ${file} STATUS st)
    list(GET st 0 code)
    if(NOT code EQUAL 0)
      message(FATAL_ERROR "cannot download ${name}: ${st}; set MXL_DEPS_DIR to a folder of the archives")
    endif()
  endif()
  file(SHA256 ${file} sum)
  if(NOT sum STREQUAL c_SHA256)
    message(FATAL_ERROR "${file}: SHA-256 ${sum}, the manifest says ${c_SHA256}")
  endif()
  set(${out} ${file} PARENT_SCOPE)
endfunction()

function(mxl_tp_build name)
  mxl_tp_read(${name} c)
  set(stamp ${MXL_TP_ROOT}/stamps/${name})
  set(want "${c_LINE} ${MXL_TP_CC} ${MXL_TP_MACHINE}")
  if(EXISTS ${stamp})
    file(READ ${stamp} have)
    if(have STREQUAL want)
      return()
    endif()
  endif()
  mxl_tp_archive(${name} archive)
  message(STATUS "third party: building ${name} ${c_VERSION}")
  set(src ${MXL_TP_ROOT}/src)
  get_filename_component(dir ${archive} NAME)
  string(REGEX REPLACE "\\.tar\\.gz$" "" dir ${dir})
  file(REMOVE_RECURSE ${src}/${dir})
  file(ARCHIVE_EXTRACT INPUT ${archive} DESTINATION ${src})
  set(log ${MXL_TP_ROOT}/logs/${name}.log)
  file(MAKE_DIRECTORY ${MXL_TP_ROOT}/logs ${MXL_TP_ROOT}/stamps)
  cmake_host_system_information(RESULT jobs QUERY NUMBER_OF_LOGICAL_CORES)
  if(c_BUILD STREQUAL "amx")
    # The makefiles add their own flags to CFLAGS/LDFLAGS from the environment.
    # libubox and ubus install into usr/lib, the libamx libraries into usr/lib/<multiarch>.
    set(env ${CMAKE_COMMAND} -E env CC=${MXL_TP_CC} "CFLAGS=-I${MXL_TP_INCLUDE}"
      "LDFLAGS=-L${MXL_TP_LIBDIR} -L${MXL_TP_STAGE}/usr/lib -Wl,-rpath-link,${MXL_TP_LIBDIR}" STAGINGDIR=${MXL_TP_STAGE})
    set(vars RAW_VERSION=${c_TAG} STAGINGDIR=${MXL_TP_STAGE})
    mxl_tp_run("build of ${name}" ${log} ${env} make -C ${src}/${dir} -j${jobs} ${vars})
    mxl_tp_run("install of ${name}" ${log}.install ${env} make -C ${src}/${dir} install DEST=${MXL_TP_STAGE} ${vars})
  elseif(c_BUILD STREQUAL "cmake")
    set(tree ${MXL_TP_ROOT}/build/${name})
    # A fresh tree: a cache left by another compiler would be dropped with our options.
    file(REMOVE_RECURSE ${tree})
    set(toolchain)
    if(CMAKE_TOOLCHAIN_FILE)
      set(toolchain -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE})
    endif()
    mxl_tp_run("configuration of ${name}" ${log} ${CMAKE_COMMAND} -S ${src}/${dir} -B ${tree} ${toolchain}
      -DCMAKE_C_COMPILER=${MXL_TP_CC} -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr
      -DCMAKE_INSTALL_LIBDIR=lib/${MXL_TP_MACHINE} -DCMAKE_PREFIX_PATH=${MXL_TP_STAGE}/usr
      "-DCMAKE_C_FLAGS=-I${MXL_TP_INCLUDE}" "-DCMAKE_SHARED_LINKER_FLAGS=-L${MXL_TP_LIBDIR}"
      "-DCMAKE_EXE_LINKER_FLAGS=-L${MXL_TP_LIBDIR}" -DBUILD_LUA=OFF -DBUILD_EXAMPLES=OFF)
    mxl_tp_run("build of ${name}" ${log}.build ${CMAKE_COMMAND} --build ${tree} -j${jobs})
    mxl_tp_run("install of ${name}" ${log}.install ${CMAKE_COMMAND} -E env DESTDIR=${MXL_TP_STAGE}
      ${CMAKE_COMMAND} --install ${tree})
  else()
    message(FATAL_ERROR "${MXL_TP_MANIFEST}: ${name} has an unknown build kind '${c_BUILD}'")
  endif()
  file(WRITE ${stamp} "${want}")
endfunction()

function(mxl_third_party)
  # The manifest's order is the build order.
  file(STRINGS ${MXL_TP_MANIFEST} lines REGEX "^[a-z]")
  foreach(line ${lines})
    string(REGEX MATCH "^[^ \t]+" name "${line}")
    if(name IN_LIST ARGN)
      mxl_tp_build(${name})
      if(name MATCHES "^libamx([a-z]+)$")
        set(lib amx${CMAKE_MATCH_1})
        if(NOT TARGET ${lib})
          add_library(${lib} SHARED IMPORTED GLOBAL)
          set_target_properties(${lib} PROPERTIES IMPORTED_LOCATION ${MXL_TP_LIBDIR}/lib${lib}.so
            INTERFACE_INCLUDE_DIRECTORIES ${MXL_TP_INCLUDE})
        endif()
      endif()
    endif()
  endforeach()
endfunction()
