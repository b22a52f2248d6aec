# Where a source differs by system, its name ends in _${os}.cpp.
if(WIN32)
  set(os windows)
else()
  set(os posix)
endif()

function(qolive_sanitize target)
  if(QOLIVE_SANITIZE)
    # The library exports the type information of few classes, and the vptr check would need that of all in its users.
    target_compile_options(${target} PRIVATE -fsanitize=${QOLIVE_SANITIZE} $<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=vptr>
                                             -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${QOLIVE_SANITIZE})
  endif()
endfunction()

# qolive_build_settings(target): warnings, protections and, where asked for, sanitizers. What a source has in its unnamed
# namespace is its own, so none is compiled together with another one.
function(qolive_build_settings target)
  qolive_harden(${target})
  set_target_properties(${target} PROPERTIES UNITY_BUILD OFF)
  if(QOLIVE_DEVELOPER)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor
                                             -Wold-style-cast -Wcast-qual -Wformat=2 -Werror)
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
      target_compile_options(${target} PRIVATE -Wthread-safety)
    endif()
  endif()
  qolive_sanitize(${target})
endfunction()

# qolive_settings(target): the same, and the include root.
function(qolive_settings target)
  qolive_build_settings(${target})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src)
endfunction()

# qolive_object(name sources...): an object library of ours.
function(qolive_object name)
  add_library(${name} OBJECT ${ARGN})
  qolive_settings(${name})
  target_compile_definitions(${name} PRIVATE QOLIVE_REPORT_BUILDING INTERFACE QOLIVE_REPORT_STATIC)
endfunction()

# qolive_gtest(name LABELS label... SOURCES file... LIBS library...): one test program; ctest runs each test of it in a
# process of its own, because the library's objects are process-wide.
function(qolive_gtest name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  add_executable(${name} ${arg_SOURCES})
  qolive_settings(${name})
  target_compile_options(${name} PRIVATE -O1)  # half the build's time, and speed is not what tests are for
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
endfunction()
