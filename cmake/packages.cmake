# What `make deb` makes of the installed parts: Debian packages, with debug symbols apart.
if(NOT TARGET lumo OR NOT TARGET lumomedia_seal)
  return()
endif()
set(LUMO_PACKAGE_CONTACT "The lumomedia developers <lumomedia@lists.example.org>" CACHE STRING "Maintainer of the packages")
set(LUMO_PACKAGE_REVISION 1 CACHE STRING "What the packages' version says behind a dash")

set(LUMO_PACKAGE_media liblumomedia${PROJECT_VERSION_MAJOR})
set(LUMO_PACKAGE_seal liblumomedia-seal${PROJECT_VERSION_MAJOR})
set(LUMO_PACKAGE_dev liblumomedia-dev)
set(LUMO_PACKAGE_program lumo)
set(LUMO_SUMMARY_media "media transport of a conferencing client")
set(LUMO_SUMMARY_seal "frames sealed end to end (SFrame)")
set(LUMO_SUMMARY_dev "media transport of a conferencing client (development files)")
set(LUMO_SUMMARY_program "send files and live streams, and run a relay server")
set(LUMO_DESCRIPTION_media
    "Carries audio, video, shared desktops, files and whiteboards between the
participants of a conference, through relay servers or from host to host.
.
This package holds the shared library.")
set(LUMO_DESCRIPTION_seal
    "Seals media frames so that the relay servers which carry them cannot read,
alter, repeat or invent any.
.
This package holds the shared library.")
set(LUMO_DESCRIPTION_dev
    "Carries audio, video, shared desktops, files and whiteboards between the
participants of a conference, through relay servers or from host to host.
.
This package holds the headers of both libraries, a CMake package and files
for pkg-config.")
set(LUMO_DESCRIPTION_program
    "Sends files, audio, video and shared desktops to everybody who has the link
that it shows, sealed end to end, lets people draw together in a browser, and
runs the relay server, of which a service for systemd is part: lumo-mcu.")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumomedia)
set(CPACK_PACKAGE_CONTACT ${LUMO_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL media seal dev program)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
set(CPACK_THREADS 0)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${LUMO_PACKAGE_REVISION})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_MEDIA_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_SEAL_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION net)
foreach(part MEDIA SEAL DEV)
  set(CPACK_DEBIAN_${part}_PACKAGE_MULTIARCH same)
endforeach()
set(version "${PROJECT_VERSION}-${LUMO_PACKAGE_REVISION}")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${LUMO_PACKAGE_media} (= ${version}), ${LUMO_PACKAGE_seal} (= ${version})")
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEV_DEBUGINFO_PACKAGE OFF)
set(scripts ${PROJECT_SOURCE_DIR}/cmake/packages)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA "${scripts}/conffiles;${scripts}/postinst;${scripts}/prerm;${scripts}/postrm")

# Each package has a copyright file and a changelog under its name.
string(MD5 papers "${version} ${LUMO_PACKAGE_CONTACT}")  # which the changelog names
set(papers ${PROJECT_BINARY_DIR}/papers/${papers})
file(MAKE_DIRECTORY ${papers})
# Which package a program needs that links a library. CPack's own way to say so brings scripts that call ldconfig, too.
foreach(library lumomedia lumomedia_seal)
  set(part ${LUMO_PART_${library}})
  string(TOUPPER ${part} PART)
  file(WRITE ${papers}/${part}/shlibs
       "lib${library} ${PROJECT_VERSION_MAJOR} ${LUMO_PACKAGE_${part}} (>= ${PROJECT_VERSION})\n")
  set(CPACK_DEBIAN_${PART}_PACKAGE_CONTROL_EXTRA "${papers}/${part}/shlibs;${scripts}/library/triggers")
endforeach()
string(TIMESTAMP LUMO_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
if(DEFINED ENV{SOURCE_DATE_EPOCH} OR NOT EXISTS ${papers}/changelog.Debian.gz)
  configure_file(${scripts}/changelog.in ${papers}/changelog.Debian @ONLY)
  execute_process(COMMAND gzip -9nf ${papers}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
endif()
foreach(part IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${part} PART)
  set(CPACK_DEBIAN_${PART}_PACKAGE_NAME ${LUMO_PACKAGE_${part}})
  set(CPACK_DEBIAN_${PART}_DESCRIPTION "${LUMO_SUMMARY_${part}}\n${LUMO_DESCRIPTION_${part}}")
  install(FILES ${scripts}/copyright ${papers}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${LUMO_PACKAGE_${part}} COMPONENT ${part} EXCLUDE_FROM_ALL)
endforeach()
include(CPack)
