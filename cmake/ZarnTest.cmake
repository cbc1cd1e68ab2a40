enable_testing()

# zarn_add_test(<name> SOURCES <files...> [LIBS <libs...>] [TIMEOUT <s>])
# A gtest executable with the shared test main (child-process roles included), run by CTest
# under Wine through the cross-compiling emulator.
function(zarn_add_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE zarn_test_support ${arg_LIBS})
  add_test(NAME ${name} COMMAND ${name})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
endfunction()
