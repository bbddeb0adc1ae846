# find_package(lumomedia) gives the target lumomedia::lumomedia.
include(${CMAKE_CURRENT_LIST_DIR}/lumomediaTargets.cmake)
