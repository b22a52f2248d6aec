# cpack: on Linux libqolivereport0 and libqolivereport-dev as .deb, for Windows one .zip.
set(CPACK_PACKAGE_NAME QoLiveReport)
set(CPACK_PACKAGE_VENDOR QoLiveReport)
set(CPACK_PACKAGE_CONTACT "QoLiveReport developers <qolivereport@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME QoLiveReport-${PROJECT_VERSION}-windows-x86_64)
  install(FILES LICENSE CHANGELOG.md docs/embedding.md DESTINATION . COMPONENT development)
  include(CPack)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(control ${PROJECT_BINARY_DIR}/debian)
file(WRITE ${control}/shlibs "libQoLiveReport 0 libqolivereport0 (>= ${PROJECT_VERSION})\n")
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${control}/changelog "libqolivereport (${PROJECT_VERSION}) unstable; urgency=medium

  * What has changed is told in CHANGELOG.md of libqolivereport-dev.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqolivereport0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "reports a live broadcast to servers
A live-broadcasting application loads this library into its process. It
tells servers, over MQTT 5, what the broadcaster is doing (heartbeat) and
how well the broadcast goes (stream quality).")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqolivereport-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libqolivereport0 (= ${PROJECT_VERSION}), libjsoncpp-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "reports a live broadcast to servers (development files)
C++ and C headers, CMake package and pkg-config file of QoLiveReport.")

# What Debian expects beside the files of every package.
file(READ LICENSE copyright)
if(QOLIVE_MOSQUITTO_LICENSE)
  file(READ ${QOLIVE_MOSQUITTO_LICENSE} mosquitto_license)
  string(APPEND copyright "
The library holds the MQTT client library of mosquitto, copyright Roger Light
and others, with changes, under this licence:

${mosquitto_license}")
endif()
file(WRITE ${control}/copyright "${copyright}")
find_program(GZIP gzip REQUIRED)
execute_process(COMMAND ${GZIP} -9nc ${control}/changelog OUTPUT_FILE ${control}/changelog.gz)
foreach(component runtime development)
  string(TOUPPER ${component} name)
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME})
  install(FILES ${control}/changelog.gz DESTINATION ${folder} COMPONENT ${component})
  install(FILES ${control}/copyright DESTINATION ${folder} COMPONENT ${component})
endforeach()
install(FILES CHANGELOG.md docs/embedding.md DESTINATION ${folder} COMPONENT development)

include(CPack)
