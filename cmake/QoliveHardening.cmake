# qolive_harden(target): what keeps a mistake in a target's code from becoming a way into the host: checked stack frames,
# checked calls of the C library, checked bounds in the standard library, checked targets of indirect jumps, and nothing
# writable that is run or called through. Called for everything that we build; scripts/windows-deps has the same for the
# libraries that it builds.
option(QOLIVE_HARDENING "Build with the protections of compiler, linker and standard library" ${PROJECT_IS_TOP_LEVEL})

include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

set(qolive_hardened_compile -fstack-protector-strong -D_GLIBCXX_ASSERTIONS)
if(WIN32)
  # Here the compiler probes large frames by itself. -fstack-protector-strong links the functions that both checks call.
  set(qolive_hardened_link -fstack-protector-strong -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
  set(qolive_fortify_level 2)
else()
  foreach(flag -fstack-clash-protection -fcf-protection=full)
    string(MAKE_C_IDENTIFIER "QOLIVE_HAVE${flag}" have)
    check_cxx_compiler_flag("-Werror ${flag}" ${have})
    if(${have})
      list(APPEND qolive_hardened_compile ${flag})
    endif()
  endforeach()
  set(qolive_hardened_link -Wl,-z,relro,-z,now,-z,noexecstack)
  set(qolive_fortify_level 2)
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang OR CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12)
    set(qolive_fortify_level 3)
  endif()
endif()
# The C library checks nothing in code that is not optimised, and sanitizers see more when it does not.
if(NOT QOLIVE_SANITIZE)
  list(APPEND qolive_hardened_compile
    "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${qolive_fortify_level}>")
endif()

function(qolive_harden target)
  if(NOT QOLIVE_HARDENING)
    return()
  endif()
  target_compile_options(${target} PRIVATE "$<$<COMPILE_LANGUAGE:C,CXX>:${qolive_hardened_compile}>")
  target_link_options(${target} PRIVATE ${qolive_hardened_link})
endfunction()
