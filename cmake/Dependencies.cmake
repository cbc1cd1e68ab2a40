# libyuv from Debian's source package and GoogleTest from /usr/src/googletest, both built
# for mingw inside the build tree, so an incremental build reuses their objects.

set(ZARN_DEPS_DIR ${CMAKE_BINARY_DIR}/_deps)

execute_process(
  COMMAND ${CMAKE_SOURCE_DIR}/scripts/fetch-libyuv.sh ${ZARN_DEPS_DIR}/libyuv
  RESULT_VARIABLE fetch_result)
if(NOT fetch_result EQUAL 0)
  message(FATAL_ERROR "Could not fetch libyuv's Debian source package")
endif()
file(GLOB libyuv_dir LIST_DIRECTORIES true ${ZARN_DEPS_DIR}/libyuv/libyuv-*)
file(GLOB libyuv_sources ${libyuv_dir}/source/*.cc)
add_library(yuv STATIC ${libyuv_sources})
target_include_directories(yuv SYSTEM PUBLIC ${libyuv_dir}/include)
target_compile_options(yuv PRIVATE -O2 -w)

set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${ZARN_DEPS_DIR}/googletest EXCLUDE_FROM_ALL)
