# SPDX-License-Identifier: MIT
# veltrano_pictures(file.rsrc id image [id image ...]): makes a resource file of 'PICT' resources from images
# of two pixels a point. Without the project's own vlpict it takes the installed one.
function(veltrano_pictures output)
  set(vlpict vlpict)
  if(NOT TARGET vlpict)
    find_program(VELTRANO_VLPICT vlpict REQUIRED)
    set(vlpict "${VELTRANO_VLPICT}")
  endif()
  get_filename_component(folder "${output}" DIRECTORY)
  set(commands COMMAND ${CMAKE_COMMAND} -E make_directory "${folder}"
               COMMAND ${CMAKE_COMMAND} -E rm -f "${output}")
  set(images "")
  while(ARGN)
    list(POP_FRONT ARGN id image)
    list(APPEND commands COMMAND ${vlpict} add "${output}" --id ${id} --density 2 "${image}")
    list(APPEND images "${image}")
  endwhile()
  add_custom_command(OUTPUT "${output}" ${commands} DEPENDS ${vlpict} ${images} VERBATIM)
endfunction()
