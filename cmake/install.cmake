# What `make install` brings, in the parts of which `make deb` makes packages: `media` and `seal`, the shared libraries;
# `dev`, headers, CMake package and pkg-config files; `program`, lumo with its manual, service and packet
# dissector; and documents.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Where Debian looks for libraries, under whatever prefix.
if(CMAKE_LIBRARY_ARCHITECTURE AND EXISTS /etc/debian_version)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
set(LUMO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/lumomedia)
set(LUMO_LIBRARIES lumomedia)
set(LUMO_PART_lumomedia media)
if(TARGET lumomedia_seal)
  list(APPEND LUMO_LIBRARIES lumomedia_seal)
  set(LUMO_PART_lumomedia_seal seal)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/lumomedia DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
        FILES_MATCHING PATTERN "*.h")
install(EXPORT lumomediaTargets NAMESPACE lumomedia:: DESTINATION ${LUMO_CMAKE_DIR} COMPONENT dev)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lumomediaConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/lumomediaConfig.cmake ${PROJECT_BINARY_DIR}/lumomediaConfigVersion.cmake
        DESTINATION ${LUMO_CMAKE_DIR} COMPONENT dev)

# A pkg-config file finds its prefix from where it lies, so that an installed tree may be moved.
file(RELATIVE_PATH LUMO_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
foreach(library IN LISTS LUMO_LIBRARIES)
  install(TARGETS ${library} EXPORT lumomediaTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${LUMO_PART_${library}} NAMELINK_COMPONENT dev
          INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  string(REPLACE "_" "-" name ${library})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endforeach()

if(TARGET lumo)
  install(TARGETS lumo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
  install(FILES ${LUMO_DISSECTOR} DESTINATION ${CMAKE_INSTALL_DATADIR}/lumomedia COMPONENT program)
  # Manual, completion and the template of the server's settings: the program writes them.
  set(LUMO_WRITTEN ${PROJECT_BINARY_DIR}/written)
  add_custom_command(
    OUTPUT ${LUMO_WRITTEN}/done
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${LUMO_WRITTEN}
    COMMAND lumo help --write ${LUMO_WRITTEN}
    COMMAND sh -c "cd written && gzip -9n man/man1/*.1 && touch done"
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
    DEPENDS lumo
    VERBATIM)
  set(all ALL)
  if(LUMO_SANITIZE)
    set(all)  # a sanitizer may not run where a build does
  endif()
  add_custom_target(lumo_written ${all} DEPENDS ${LUMO_WRITTEN}/done)
  install(DIRECTORY ${LUMO_WRITTEN}/man DESTINATION ${CMAKE_INSTALL_DATADIR} COMPONENT program)
  set(completions ${LUMO_WRITTEN}/completions)
  install(FILES ${completions}/lumo DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT program)
  install(FILES ${completions}/lumo.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
          COMPONENT program)
  # Their places depend on the prefix, which is known when they are installed.
  install(CODE "set(bindir ${CMAKE_INSTALL_BINDIR})\nset(datadir ${CMAKE_INSTALL_DATADIR})
                set(written ${LUMO_WRITTEN})\nset(source ${PROJECT_SOURCE_DIR}/cmake/packages)"
          COMPONENT program)
  install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/install_places.cmake COMPONENT program)
endif()

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents)
# What the documents link to comes with them. A package has its documents under its own name.
foreach(place "${CMAKE_INSTALL_DOCDIR};documents" "${CMAKE_INSTALL_DATADIR}/doc/lumo;program;EXCLUDE_FROM_ALL")
  list(POP_FRONT place folder part)
  foreach(document README.md CHANGELOG.md CONTRIBUTING.md Containerfile)
    install(FILES ${PROJECT_SOURCE_DIR}/${document} DESTINATION ${folder} COMPONENT ${part} ${place} OPTIONAL)
  endforeach()
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${folder} COMPONENT ${part} ${place} FILES_MATCHING
          PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN "*.json")
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${folder} COMPONENT ${part} ${place})
endforeach()
include(${PROJECT_SOURCE_DIR}/cmake/packages.cmake)
