# What `make install` brings: headers, the shared libraries, a CMake package, a pkg-config file for each library, lumo,
# the dissector and the documents.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(LUMO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/lumomedia)
set(LUMO_LIBRARIES lumomedia)
if(TARGET lumomedia_seal)
  list(APPEND LUMO_LIBRARIES lumomedia_seal)
endif()
install(TARGETS ${LUMO_LIBRARIES} EXPORT lumomediaTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/lumomedia DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING
        PATTERN "*.h")
install(EXPORT lumomediaTargets NAMESPACE lumomedia:: DESTINATION ${LUMO_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lumomediaConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/lumomediaConfig.cmake ${PROJECT_BINARY_DIR}/lumomediaConfigVersion.cmake
        DESTINATION ${LUMO_CMAKE_DIR})

# A pkg-config file finds its prefix from where it lies, so that an installed tree may be moved.
file(RELATIVE_PATH LUMO_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
foreach(library IN LISTS LUMO_LIBRARIES)
  string(REPLACE "_" "-" name ${library})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

if(TARGET lumo)
  install(TARGETS lumo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${LUMO_DISSECTOR} DESTINATION ${CMAKE_INSTALL_DATADIR}/lumomedia)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
foreach(document README.md CHANGELOG.md)
  install(FILES ${PROJECT_SOURCE_DIR}/${document} DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md"
        PATTERN "*.svg")
