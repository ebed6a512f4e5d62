# Packages that CPack makes from the install components: an archive that runs from any folder and a Debian package. scripts/package calls it.
set(CPACK_GENERATOR TGZ DEB)
set(CPACK_PACKAGE_NAME vorin-stt)
set(CPACK_PACKAGE_VENDOR "the vorin-stt developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "repaints pictures and video frames in artistic styles: library and programs")
set(CPACK_PACKAGE_FILE_NAME vorin-stt-${PROJECT_VERSION}-linux-x86_64)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_MONOLITHIC_INSTALL ON) # all components in one package
set(CPACK_STRIP_FILES ON)

set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian_files.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian_size.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "the vorin-stt developers <vorin-stt@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/embedded ${vorin_runtime_source})
# The filter styles need an OpenCL implementation; without a GPU's own, the one for processors.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "pocl-opencl-icd | opencl-icd")
include(CPack)
