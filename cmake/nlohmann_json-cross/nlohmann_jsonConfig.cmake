# SPDX-License-Identifier: BSD-2-Clause-Patent
# nlohmann_json for a cross build: the header-only library installed on the
# build machine, through a directory that holds nothing else, so that the
# build machine's /usr/include (its C library's headers) stays off the
# target's include path.
set(_nlohmann_json_headers /usr/include/nlohmann)
if(NOT EXISTS ${_nlohmann_json_headers}/json.hpp)
  set(nlohmann_json_FOUND FALSE)
  set(nlohmann_json_NOT_FOUND_MESSAGE "${_nlohmann_json_headers}/json.hpp not found (Debian: nlohmann-json3-dev)")
  return()
endif()
if(NOT TARGET nlohmann_json::nlohmann_json)
  set(_nlohmann_json_include ${CMAKE_BINARY_DIR}/nlohmann_json-include)
  file(MAKE_DIRECTORY ${_nlohmann_json_include})
  file(CREATE_LINK ${_nlohmann_json_headers} ${_nlohmann_json_include}/nlohmann SYMBOLIC)
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
  set_target_properties(nlohmann_json::nlohmann_json PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${_nlohmann_json_include})
endif()
