# Install rules: the shared library, the headers a host includes (with every
# header they include in turn), the CMake package KestrinSearcher and the
# pkg-config file kestrin-searcher.pc.
#
# Headers keep their folder: <prefix>/include/kestrin-searcher/search/searcher.h
# is included as "search/searcher.h", as inside the project.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ks_public_headers
    search/searcher.h                  # the engine facade
    adapter/ks_search_data_adapter.h   # databases, table scans, change hooks
    text/highlight.h                   # highlighted abstracts
    text/pinyin.h                      # Han characters to pinyin
    bridge/native_methods.h            # the JNI bridge (needs jni.h)
    bridge/host_callbacks.h
    bridge/engine.h)
set(ks_include_subdir kestrin-searcher)

# ks_header_closure(<out> <headers...>): the headers and every project header
# they include, directly or not, as paths relative to the source root.
function(ks_header_closure out)
  set(pending ${ARGN})
  set(seen)
  while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST seen)
      continue()
    endif()
    list(APPEND seen ${header})
    file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" includes REGEX "^#include \"")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
      list(APPEND pending ${included})
    endforeach()
  endwhile()
  set(${out} ${seen} PARENT_SCOPE)
endfunction()

ks_header_closure(ks_installed_headers ${ks_public_headers})
# Reconfigure when a header gains an include.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ks_installed_headers})
foreach(header IN LISTS ks_installed_headers)
  get_filename_component(dir "${header}" DIRECTORY)
  install(FILES "${header}"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${ks_include_subdir}/${dir}"
          COMPONENT development)
endforeach()

target_include_directories(kestrin-searcher INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/${ks_include_subdir}>)
install(TARGETS kestrin-searcher EXPORT KestrinSearcherTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

set(ks_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KestrinSearcher)
install(EXPORT KestrinSearcherTargets NAMESPACE KestrinSearcher::
        DESTINATION ${ks_cmake_dir} COMPONENT development)
configure_package_config_file(cmake/KestrinSearcherConfig.cmake.in
    ${PROJECT_BINARY_DIR}/KestrinSearcherConfig.cmake INSTALL_DESTINATION ${ks_cmake_dir})
# 0.x releases change the interface with every minor version.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KestrinSearcherConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KestrinSearcherConfig.cmake
              ${PROJECT_BINARY_DIR}/KestrinSearcherConfigVersion.cmake
        DESTINATION ${ks_cmake_dir} COMPONENT development)

# The .pc file finds its prefix from its own place, so the installed tree can
# be moved (or installed with --prefix) without editing it.
file(RELATIVE_PATH ks_pc_to_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" ks_pc_to_prefix "${ks_pc_to_prefix}")
configure_file(cmake/kestrin-searcher.pc.in ${PROJECT_BINARY_DIR}/kestrin-searcher.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kestrin-searcher.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
