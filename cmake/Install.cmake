# SPDX-License-Identifier: MIT
# What is installed where, and the packages made of it. Everything finds everything else by relative paths, so
# the prefix may be moved.
include(CMakePackageConfigHelpers)
set(bundle_folder ${CMAKE_INSTALL_LIBDIR}/veltrano)
set(include_folder ${CMAKE_INSTALL_INCLUDEDIR}/veltrano)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Veltrano)

# Run time: the two libraries and the bundle.
set_target_properties(vltoolbox PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS vlfoundation vltoolbox EXPORT VeltranoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
set(contents_folder ${bundle_folder}/Veltrano.bundle/Contents)
set_target_properties(Veltrano PROPERTIES INSTALL_RPATH "$ORIGIN/../../../..")
install(TARGETS Veltrano LIBRARY DESTINATION ${contents_folder}/MacOS COMPONENT runtime)
install(DIRECTORY ${PROJECT_BINARY_DIR}/Veltrano.bundle/Contents/Resources
  DESTINATION ${contents_folder} COMPONENT runtime)
install(FILES ${PROJECT_BINARY_DIR}/Veltrano.bundle/Contents/Info.plist
  DESTINATION ${contents_folder} COMPONENT runtime)

# Development: headers, the support library, how to find them.
install(TARGETS vlsystem vlui EXPORT VeltranoTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${PROJECT_SOURCE_DIR}/platform/include/ DESTINATION ${include_folder} COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/System DESTINATION ${include_folder} COMPONENT dev
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/ui/Alerts.h DESTINATION ${include_folder}/ui COMPONENT dev)
install(EXPORT VeltranoTargets NAMESPACE Veltrano:: DESTINATION ${package_folder} COMPONENT dev)
configure_package_config_file(cmake/VeltranoConfig.cmake.in ${PROJECT_BINARY_DIR}/VeltranoConfig.cmake
  INSTALL_DESTINATION ${package_folder} PATH_VARS bundle_folder)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VeltranoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VeltranoConfig.cmake ${PROJECT_BINARY_DIR}/VeltranoConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT dev)
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file(cmake/veltrano.pc.in ${PROJECT_BINARY_DIR}/veltrano.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/veltrano.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# Tools and their manual pages.
file(RELATIVE_PATH lib_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
get_property(tools GLOBAL PROPERTY VELTRANO_TOOLS)
set_target_properties(${tools} PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_bin}")
install(TARGETS ${tools} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
# veltrano_install_compressed(source name destination component)
function(veltrano_install_compressed source name destination component)
  set(compressed "${PROJECT_BINARY_DIR}/compressed/${component}/${name}")
  get_filename_component(folder "${compressed}" DIRECTORY)
  file(MAKE_DIRECTORY "${folder}")
  execute_process(COMMAND gzip -9nc "${source}" OUTPUT_FILE "${compressed}" COMMAND_ERROR_IS_FATAL ANY)
  install(FILES "${compressed}" DESTINATION ${destination} COMPONENT ${component})
endfunction()
foreach(tool IN LISTS tools)
  veltrano_install_compressed(
    ${PROJECT_SOURCE_DIR}/docs/man/${tool}.1 ${tool}.1.gz ${CMAKE_INSTALL_MANDIR}/man1 tools)
endforeach()

# Papers of each package.
set(package_of_runtime libveltrano1)
set(package_of_dev libveltrano-dev)
set(package_of_tools veltrano-tools)
foreach(component runtime dev tools)
  set(papers ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package_of_${component}})
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright DESTINATION ${papers} COMPONENT ${component})
  veltrano_install_compressed(
    ${PROJECT_SOURCE_DIR}/cmake/debian/changelog changelog.Debian.gz ${papers} ${component})
endforeach()

# Packages: cpack -G DEB in the build folder.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME veltrano)
set(CPACK_PACKAGE_VENDOR "The Veltrano developers")
set(CPACK_PACKAGE_CONTACT "The Veltrano developers <developers@veltrano.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/cmake/debian/shlibs ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${package_of_runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${package_of_dev})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libveltrano1 (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${package_of_tools})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libveltrano1 (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "libqt6svg6")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "The module bundle and the platform libraries
 Veltrano.bundle, which desktop products load for their About box, and the
 libraries that supply the Mac API below it and below its hosts.")
set(CPACK_COMPONENT_DEV_DESCRIPTION
  "Headers and the support library of the module
 For hosts that load the module and for components that link its support code.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
  "Tools around the module: pictures, preferences, profiles
 Command-line programs that make pictures for About boxes, read and write
 preference entries and edit profile files.")
include(CPack)
