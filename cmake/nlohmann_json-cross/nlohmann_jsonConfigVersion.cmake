# SPDX-License-Identifier: BSD-2-Clause-Patent
# The version of the installed headers decides.
include(/usr/share/cmake/nlohmann_json/nlohmann_jsonConfigVersion.cmake OPTIONAL RESULT_VARIABLE _found)
if(NOT _found)
  set(PACKAGE_VERSION_UNSUITABLE TRUE)
endif()
