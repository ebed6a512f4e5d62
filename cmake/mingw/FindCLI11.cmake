# CLI11 for MinGW: Debian's package, which is headers only.
find_path(
  CLI11_INCLUDE_DIR CLI/CLI.hpp
  PATHS ${PROJECT_SOURCE_DIR}/build/windows-deps/include
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(CLI11_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CLI11 REQUIRED_VARS CLI11_INCLUDE_DIR REASON_FAILURE_MESSAGE "run scripts/setup --windows")
if(CLI11_FOUND AND NOT TARGET CLI11::CLI11)
  add_library(CLI11::CLI11 INTERFACE IMPORTED GLOBAL)
  set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${CLI11_INCLUDE_DIR})
endif()
