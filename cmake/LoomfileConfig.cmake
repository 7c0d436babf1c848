include(CMakeFindDependencyMacro)
find_dependency(Tload)
include(${CMAKE_CURRENT_LIST_DIR}/LoomfileTargets.cmake)
