# find_package(lumomedia) gives the targets lumomedia::lumomedia and lumomedia::seal.
include(${CMAKE_CURRENT_LIST_DIR}/lumomediaTargets.cmake)
