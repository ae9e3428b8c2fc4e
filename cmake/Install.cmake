# SPDX-License-Identifier: MIT
# What is installed where. Everything finds everything else by relative paths, so the prefix may be moved.
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS # whatever the umask is
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(bundle_folder ${CMAKE_INSTALL_LIBDIR}/veltrano)
set(include_folder ${CMAKE_INSTALL_INCLUDEDIR}/veltrano)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Veltrano)
file(RELATIVE_PATH include_from_lib /${CMAKE_INSTALL_LIBDIR} /${include_folder})
file(RELATIVE_PATH doc_from_lib /${CMAKE_INSTALL_LIBDIR} /${CMAKE_INSTALL_DOCDIR})

# veltrano_pkg_config(name libraries [flags [requires]])
function(veltrano_pkg_config name libraries)
  set(flags "${ARGV2}")
  set(requires "${ARGV3}")
  configure_file(cmake/veltrano.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

set(libraries vlfoundation vlsystem)
veltrano_pkg_config(veltrano-system "-lvlsystem -lvlfoundation" "-I\${includedir}/libc")
if(VELTRANO_TOOLBOX)
  set_target_properties(vltoolbox PROPERTIES INSTALL_RPATH "$ORIGIN")
  list(APPEND libraries vltoolbox vlui)
  veltrano_pkg_config(veltrano "-lvltoolbox -lvlfoundation")
  veltrano_pkg_config(veltrano-ui "-lvlui" "" "veltrano-system veltrano")
  install(FILES ${PROJECT_SOURCE_DIR}/ui/Alerts.h DESTINATION ${include_folder}/ui)

  set(contents_folder ${bundle_folder}/Veltrano.bundle/Contents)
  set_target_properties(Veltrano PROPERTIES INSTALL_RPATH "$ORIGIN/../../../..")
  install(TARGETS Veltrano LIBRARY DESTINATION ${contents_folder}/MacOS)
  install(DIRECTORY ${Veltrano_BUNDLE}/Contents/Resources DESTINATION ${contents_folder})
  install(FILES ${Veltrano_BUNDLE}/Contents/Info.plist DESTINATION ${contents_folder})
endif()
install(TARGETS ${libraries} EXPORT VeltranoTargets)
install(EXPORT VeltranoTargets NAMESPACE Veltrano:: DESTINATION ${package_folder})
install(DIRECTORY include/ platform/include/ DESTINATION ${include_folder})
install(DIRECTORY System DESTINATION ${include_folder} FILES_MATCHING PATTERN "*.h")
configure_package_config_file(cmake/VeltranoConfig.cmake.in ${PROJECT_BINARY_DIR}/VeltranoConfig.cmake
  INSTALL_DESTINATION ${package_folder} PATH_VARS bundle_folder)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VeltranoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VeltranoConfig.cmake ${PROJECT_BINARY_DIR}/VeltranoConfigVersion.cmake
  cmake/Pictures.cmake DESTINATION ${package_folder})

if(VELTRANO_TOOLBOX AND VELTRANO_TOOLS)
  file(RELATIVE_PATH lib_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  get_property(tools GLOBAL PROPERTY veltrano_tools)
  set_target_properties(${tools} PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_bin}")
  install(TARGETS ${tools})
  install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES docs/compatibility.md docs/host-guide.md platform/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
