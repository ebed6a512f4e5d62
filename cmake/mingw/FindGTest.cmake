# GoogleTest for MinGW: built from the sources of Debian's package googletest.
find_path(
  GTest_SOURCE_DIR googlemock/CMakeLists.txt
  PATHS /usr/src/googletest
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(GTest_SOURCE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(GTest REQUIRED_VARS GTest_SOURCE_DIR REASON_FAILURE_MESSAGE "run scripts/setup --windows")
if(GTest_FOUND AND NOT TARGET GTest::gmock_main)
  add_subdirectory(${GTest_SOURCE_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  if(NOT TARGET GTest::gmock_main)
    add_library(GTest::gmock_main ALIAS gmock_main)
  endif()
endif()
