# SPDX-License-Identifier: MIT
# The flags of every target of ours: link veltrano_flags PRIVATE.

add_library(veltrano_flags INTERFACE)
target_compile_features(veltrano_flags INTERFACE cxx_std_20)
target_compile_options(veltrano_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion # errors in the presets of script/test
  -Wno-multichar # 'clos' and its like are the API's own notation
  $<$<CXX_COMPILER_ID:Clang>:-Wno-four-char-constants>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> # g++ 12 sees overlaps inside of std::string that cannot be
  "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=" # reports and binaries hold System/vlString.cpp
  "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>")

if(VELTRANO_SANITIZE)
  add_compile_options(-fsanitize=${VELTRANO_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VELTRANO_SANITIZE})
endif()

# Every reference of a shared object must be satisfied when it is linked. Not under clang's sanitizers, whose
# run time comes with the program.
if(NOT (VELTRANO_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
  set(VELTRANO_NO_UNDEFINED -Wl,-z,defs)
endif()
