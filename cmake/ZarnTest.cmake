enable_testing()

# zarn_add_test(<name> SOURCES <files...> [LIBS <libs...>] [TIMEOUT <s>] [LOCKS <names...>]
#               [PREFIX <name>])
# A gtest executable with the shared test main (child-process roles included), run by CTest
# under Wine through scripts/gtest-run.sh, which also wants GoogleTest's summary. Named kernel
# objects and the registry are per Wine prefix: tests in the shared prefix that share a named
# object (the frame event, the frame region) name it in LOCKS so CTest never runs them side by
# side; a test with a PREFIX of its own (build/<name>-prefix) meets no other test's.
function(zarn_add_test name)
  cmake_parse_arguments(arg "" "TIMEOUT;PREFIX" "SOURCES;LIBS;LOCKS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE zarn_test_support ${arg_LIBS})
  add_test(NAME ${name} COMMAND ${PROJECT_SOURCE_DIR}/scripts/gtest-run.sh $<TARGET_FILE:${name}>)
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
  if(arg_PREFIX)
    set_tests_properties(${name} PROPERTIES
      ENVIRONMENT "WINEPREFIX=${CMAKE_BINARY_DIR}/${arg_PREFIX}-prefix")
  endif()
  if(arg_LOCKS)
    set_tests_properties(${name} PROPERTIES RESOURCE_LOCK "${arg_LOCKS}")
  endif()
endfunction()
