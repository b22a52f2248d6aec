# A manual page for each program, made of its --help, for whoever installs it.
if(WIN32 OR QOLIVE_SANITIZE)
  return()
endif()

include(GNUInstallDirs)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(manual_pages)

# manual_page(target summary)
function(manual_page target summary)
  if(NOT TARGET ${target})
    return()
  endif()
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  set(page ${PROJECT_BINARY_DIR}/man/${name}.1.gz)
  add_custom_command(OUTPUT ${page}
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/man_page.py --summary ${summary} $<TARGET_FILE:${target}> ${page}
    DEPENDS ${target} ${PROJECT_SOURCE_DIR}/tools/man_page.py
    COMMENT "Manual page of ${name}" VERBATIM)
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  set(manual_pages ${manual_pages} ${page} PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man)
manual_page(qolive_host "host program that reports a live broadcast")
manual_page(qolive-collector "shows what live broadcasters report")
manual_page(qolive-sink "counts the video of a broadcast that arrives")
add_custom_target(qolive_manual_pages ALL DEPENDS ${manual_pages})
