# ks_module(<folder> DEPS <targets...> [INCLUDES <dirs...>])
# Compiles every .cc file of <folder>/ once, into the object library
# ks_<folder>_obj. Those objects make the static library ks_<folder> (what the
# tests and tools link) and, together with every other subsystem's objects,
# the shared library. A folder without sources yet becomes an interface
# library so that the dependency graph stays valid while subsystems are added.
function(ks_module name)
  cmake_parse_arguments(M "" "" "DEPS;INCLUDES" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${name}/*.cc")
  if(srcs)
    add_library(ks_${name}_obj OBJECT ${srcs})
    target_include_directories(ks_${name}_obj PUBLIC "${PROJECT_SOURCE_DIR}" ${M_INCLUDES})
    # Objects need only the external dependencies' usage requirements; the
    # subsystem libraries share the root include path. Linking them here would
    # turn the config/search mutual dependency into a build cycle.
    set(external ${M_DEPS})
    list(FILTER external EXCLUDE REGEX "^ks_")
    target_link_libraries(ks_${name}_obj PUBLIC ${external})
    add_library(ks_${name} STATIC $<TARGET_OBJECTS:ks_${name}_obj>)
    set(scope PUBLIC)
    set_property(GLOBAL APPEND PROPERTY KS_OBJECT_LIBRARIES ks_${name}_obj)
  else()
    add_library(ks_${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(ks_${name} ${scope} "${PROJECT_SOURCE_DIR}" ${M_INCLUDES})
  target_link_libraries(ks_${name} ${scope} ${M_DEPS})
  set(KS_LINK_SCOPE_${name} ${scope} PARENT_SCOPE)
endfunction()
