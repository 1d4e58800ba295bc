# wy_join_sources(TARGET file...)
#
# Compiles sources of a target as one: what their headers make of templates is made once, which halves
# the compile time of tests. Their unnamed namespaces become one as well; a source whose names are
# already taken there stays out of the list, or goes into another one. Files that the target does not
# have are passed over, and so is a target that the build does not have. Called in the target's folder.
#
# The product's sources stay apart in the build for ThreadSanitizer: clang-tidy reads from its list
# of commands how each of them is compiled.
function(wy_join_sources target)
  if(NOT TARGET ${target})
    return()
  endif()
  string(FIND "${CMAKE_CURRENT_SOURCE_DIR}/" "${CMAKE_SOURCE_DIR}/tests/" at)
  if(WYSDK_SANITIZE STREQUAL "thread" AND NOT at EQUAL 0)
    return()
  endif()
  get_target_property(groups ${target} WY_JOINED_GROUPS)
  if(NOT groups)
    set(groups 0)
  endif()
  math(EXPR groups "${groups} + 1")
  set_target_properties(${target} PROPERTIES
    UNITY_BUILD ON UNITY_BUILD_MODE GROUP WY_JOINED_GROUPS ${groups})
  set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP ${groups})
endfunction()
