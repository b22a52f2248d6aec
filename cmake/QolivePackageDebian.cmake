# Three packages: libqolivereport0 (the shared library), libqolivereport-dev (what building against it takes) and
# qolivereport-tools (the programs and the documents).
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(QOLIVE_DEVELOPER)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# CPack puts a summary before a description unless it is the one that it would make up itself.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")

set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(control ${PROJECT_BINARY_DIR}/debian)
file(WRITE ${control}/shlibs "libQoLiveReport 0 libqolivereport0 (>= ${PROJECT_VERSION})\n")
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqolivereport0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The trigger does what scripts of CPack's own would do. It makes none where others are named, and says of those that there are
# none.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${control}/shlibs ${control}/triggers ${control}/none/postinst ${control}/none/postrm)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "reports a live broadcast to servers
A live-broadcasting application loads this library into its process. It
tells servers, over MQTT 5, what the broadcaster is doing (heartbeat) and
how well the broadcast goes (stream quality).")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqolivereport-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libqolivereport0 (= ${version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS libjsoncpp-dev) # the C interface does without
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS qolivereport-tools)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "reports a live broadcast to servers (development files)
C++ and C headers, CMake package and pkg-config files of QoLiveReport, and
bindings for Python and C#. The C++ classes also take libjsoncpp-dev, the C
interface does not.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME qolivereport-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}) # where it finds our own
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libqolivereport0 (= ${version})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS mosquitto)
# The documents came with the development files before there was this package.
set(CPACK_DEBIAN_TOOLS_PACKAGE_BREAKS "libqolivereport-dev (<< ${PROJECT_VERSION}-1~)")
set(CPACK_DEBIAN_TOOLS_PACKAGE_REPLACES "libqolivereport-dev (<< ${PROJECT_VERSION}-1~)")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
  "reports a live broadcast to servers (programs and documents)
QoLive, a host program that reports a broadcast as an application does;
qolive-collector, which shows what a server receives; qolive-sink, which
counts the video that arrives; the messages on the wire and their schemas.")

# What Debian expects beside the files of every package.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${control}/changelog.Debian "libqolivereport (${version}) unstable; urgency=medium

  * Programs and documents are in a package of their own, qolivereport-tools.
    What else has changed is told in its upstream changelog.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}

libqolivereport (${PROJECT_VERSION}) unstable; urgency=medium

  * Library and development files.

 -- ${CPACK_PACKAGE_CONTACT}  Sun, 01 Nov 2026 12:00:00 +0000
")
find_program(GZIP gzip REQUIRED)
execute_process(COMMAND ${GZIP} -9nc ${control}/changelog.Debian OUTPUT_FILE ${control}/changelog.Debian.gz)
execute_process(COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md OUTPUT_FILE ${control}/changelog.gz)
file(READ ${PROJECT_SOURCE_DIR}/LICENSE copyright)
if(QOLIVE_MOSQUITTO_LICENSE)
  file(READ ${QOLIVE_MOSQUITTO_LICENSE} mosquitto_license)
  string(APPEND copyright "
The library and qolive-collector hold the MQTT client library of mosquitto,
copyright Roger Light and others, with changes, under this licence:

${mosquitto_license}")
endif()
file(WRITE ${control}/copyright "${copyright}")
foreach(component runtime development tools)
  string(TOUPPER ${component} name)
  set(package ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES ${control}/changelog.Debian.gz ${control}/copyright DESTINATION ${documents} COMPONENT ${component})
endforeach()
install(FILES bindings/qolive_report.py bindings/QoLiveReport.cs
        DESTINATION ${CMAKE_INSTALL_DATADIR}/qolivereport/bindings COMPONENT development)
install(FILES README.md ${control}/changelog.gz DESTINATION ${documents} COMPONENT tools)
install(DIRECTORY docs DESTINATION ${documents} COMPONENT tools)
