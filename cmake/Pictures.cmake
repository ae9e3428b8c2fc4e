# SPDX-License-Identifier: MIT
# veltrano_pictures(file.rsrc id image [id image ...]): makes a resource file of 'PICT' resources from images
# of two pixels a point.
function(veltrano_pictures output)
  get_filename_component(folder "${output}" DIRECTORY)
  set(commands COMMAND ${CMAKE_COMMAND} -E make_directory "${folder}"
               COMMAND ${CMAKE_COMMAND} -E rm -f "${output}")
  set(images "")
  list(LENGTH ARGN count)
  math(EXPR last "${count} - 1")
  foreach(i RANGE 0 ${last} 2)
    math(EXPR j "${i} + 1")
    list(GET ARGN ${i} id)
    list(GET ARGN ${j} image)
    list(APPEND commands COMMAND vlpict add "${output}" --id ${id} --density 2 "${image}")
    list(APPEND images "${image}")
  endforeach()
  add_custom_command(OUTPUT "${output}" ${commands} DEPENDS vlpict ${images} VERBATIM)
endfunction()
