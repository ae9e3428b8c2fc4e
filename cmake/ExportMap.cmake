# SPDX-License-Identifier: MIT
# veltrano_export_map(target library): lets a library export the rows of platform/api.list that name it,
# and nothing else.
function(veltrano_export_map target library)
  set(register "${PROJECT_SOURCE_DIR}/platform/api.list")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${register}")
  file(STRINGS "${register}" rows REGEX "^[^# ]+ +${library} ")
  set(map "{ global:\n")
  foreach(row IN LISTS rows)
    string(REGEX MATCH "^[^ ]+" name "${row}")
    string(APPEND map "  vlp_${name};\n")
  endforeach()
  string(APPEND map "local: *; };\n")
  set(file "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
  file(CONFIGURE OUTPUT "${file}" CONTENT "${map}" @ONLY)
  target_link_options(${target} PRIVATE "LINKER:--version-script=${file}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${file}")
endfunction()
