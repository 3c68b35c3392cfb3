# ks_module(<folder> DEPS <targets...>)
# Builds every .cc file of <folder>/ into the static library ks_<folder>.
# A folder without sources yet becomes an interface library so that the
# dependency graph stays valid while subsystems are being added.
function(ks_module name)
  cmake_parse_arguments(M "" "" "DEPS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${name}/*.cc")
  if(srcs)
    add_library(ks_${name} STATIC ${srcs})
    set(scope PUBLIC)
  else()
    add_library(ks_${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(ks_${name} ${scope} "${PROJECT_SOURCE_DIR}")
  target_link_libraries(ks_${name} ${scope} ${M_DEPS})
  set(KS_LINK_SCOPE_${name} ${scope} PARENT_SCOPE)
endfunction()
