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
  set(together 16)
  if(LUMO_SANITIZE)
    set(together 8)  # sanitizers take several times the memory to compile
  endif()
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

# A test program: compiling it as if it ran for hours takes longer than what it runs.
function(lumo_test_program target)
  lumo_unity(${target})
  target_compile_options(${target} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O1;-g1>)
endfunction()

# One set of objects, two libraries: NAME, shared, of which only LUMO_API shows, and NAME_static for tests, server and
# tools. ARGN is what both link.
function(lumo_library name alias)
  set(objects ${name}_objects)
  set_target_properties(${objects} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden
                                              VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${objects} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_compile_definitions(${objects} PRIVATE LUMOMEDIA_BUILDING)
  target_link_libraries(${objects} PRIVATE lumo_settings ${ARGN})
  lumo_unity(${objects})

  add_library(${name} SHARED $<TARGET_OBJECTS:${objects}>)
  add_library(lumomedia::${alias} ALIAS ${name})
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                           EXPORT_NAME ${alias}
                                           LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/foreign_names.map)
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                            $<INSTALL_INTERFACE:include>)
  target_link_libraries(${name} PRIVATE lumo_settings ${ARGN})
  target_link_options(${name} PRIVATE -Wl,--version-script,${PROJECT_SOURCE_DIR}/cmake/foreign_names.map)
  if(NOT LUMO_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,--no-undefined)
  endif()

  add_library(${name}_static STATIC $<TARGET_OBJECTS:${objects}>)
  target_include_directories(${name}_static PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name}_static PUBLIC lumo_settings ${ARGN})
  if(NOT LUMO_TOP_LEVEL)
    set_target_properties(${name}_static PROPERTIES EXCLUDE_FROM_ALL ON)
  endif()
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
