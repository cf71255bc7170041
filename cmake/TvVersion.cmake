# One version for every binary of the project: the one of project() in the
# top CMakeLists. A header for code that prints it, and a version resource
# (VERSIONINFO) for each program and DLL.
set(TV_VERSION_MAJOR ${PROJECT_VERSION_MAJOR})
set(TV_VERSION_MINOR ${PROJECT_VERSION_MINOR})
set(TV_VERSION_PATCH ${PROJECT_VERSION_PATCH})
set(TV_VERSION_TEXT "${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH}.0")
set(TV_PRODUCT_NAME "Tarvo prerequisites library")
set(TV_GENERATED_DIR ${CMAKE_BINARY_DIR}/generated)
configure_file(${CMAKE_SOURCE_DIR}/cmake/TvVersion.h.in ${TV_GENERATED_DIR}/TvVersion.h @ONLY)

# Gives `target` a VERSIONINFO resource. The resource is compiled in an
# object library of its own, so the target's C++ options don't reach windres.
function(tv_version_resource target description)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    set(TV_FILE_TYPE VFT_DLL)
    set(TV_ORIGINAL_FILENAME "${target}.dll")
  else()
    set(TV_FILE_TYPE VFT_APP)
    set(TV_ORIGINAL_FILENAME "${target}.exe")
  endif()
  set(TV_FILE_DESCRIPTION "${description}")
  set(TV_INTERNAL_NAME "${target}")
  configure_file(${CMAKE_SOURCE_DIR}/cmake/TvVersion.rc.in ${TV_GENERATED_DIR}/${target}.rc @ONLY)
  add_library(${target}_version OBJECT ${TV_GENERATED_DIR}/${target}.rc)
  target_include_directories(${target}_version PRIVATE ${TV_GENERATED_DIR})
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_version>)
endfunction()
