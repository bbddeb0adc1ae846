# Compiler settings shared by every target of this project, kept off the projects that embed it.
if(LUMO_TOP_LEVEL)
  if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
  endif()
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  find_program(LUMO_CCACHE ccache)
  if(LUMO_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${LUMO_CCACHE})
  endif()
endif()

find_package(Threads REQUIRED)

add_library(lumo_settings INTERFACE)
target_compile_features(lumo_settings INTERFACE cxx_std_20)
target_compile_options(lumo_settings INTERFACE -Wall -Wextra -Wconversion -Wnon-virtual-dtor -Wno-missing-field-initializers
                       $<$<BOOL:${LUMO_WERROR}>:-Werror>)
# One definition of Asio for every file that includes it: whether the macro for aligned allocation is set depends on the
# headers that came before, and what one file then allocates another would free in another way.
target_compile_definitions(lumo_settings INTERFACE ASIO_STANDALONE ASIO_DISABLE_STD_ALIGNED_ALLOC)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(lumo_settings INTERFACE -Wthread-safety $<$<BOOL:${LUMO_WERROR}>:-Werror=thread-safety>)
endif()
if(LUMO_SANITIZE)
  # The vptr check opens a pipe to probe an address, and calls the object bad when descriptors have run out.
  target_compile_options(lumo_settings INTERFACE -fsanitize=${LUMO_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer
                         -fno-sanitize-recover=all)
  target_link_options(lumo_settings INTERFACE -fsanitize=${LUMO_SANITIZE})
endif()
target_link_libraries(lumo_settings INTERFACE Threads::Threads)
