# Compiler settings shared by every target of this project, kept off the projects that embed it.
if(LUMO_TOP_LEVEL)
  if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
  endif()
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  find_program(LUMO_CCACHE ccache)
  if(LUMO_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER AND NOT DEFINED ENV{CMAKE_CXX_COMPILER_LAUNCHER})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${LUMO_CCACHE})
  endif()
endif()

# With LUMO_UNITY the files of a folder are compiled together, a few at a time: most of their time goes into headers.
function(lumo_unity target)
  if(NOT LUMO_UNITY)
    return()
  endif()
  set(together 8)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    get_filename_component(source_path ${source} ABSOLUTE)
    get_filename_component(folder ${source_path} DIRECTORY)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${folder})
    string(MAKE_C_IDENTIFIER "${folder}" folder)
    if(NOT DEFINED count_${folder})
      set(count_${folder} 0)
    endif()
    math(EXPR group "${count_${folder}} / ${together}")
    math(EXPR count_${folder} "${count_${folder}} + 1")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${folder}_${group})
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  # What a file keeps to itself counts as a header's when the file is included.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()

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
