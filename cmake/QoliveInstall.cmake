# What an installation holds: the shared library, the public headers, a CMake package, pkg-config files; and the programs,
# where they are built (apps/CMakeLists.txt). cpack makes packages of it.
if(NOT TARGET qolive_report)
  return()
endif()

# Where Debian keeps libraries, below /usr/local as well, so that packages made of this build tree are right there.
if(PROJECT_IS_TOP_LEVEL AND EXISTS /etc/debian_version AND CMAKE_LIBRARY_ARCHITECTURE AND NOT WIN32)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries")
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/QoLiveReport)

# The public headers, and what they include: the C interface by its own name, the classes under qolive_report/, so that
# they meet no header of the host's. They include each other by paths relative to themselves.
set(c_headers src/c_interface/qolive_report.h)
set(class_headers
    src/base/Export.h
    src/base/Sync.h
    src/base/ThreadAnnotations.h
    src/data_report/DataReportManager.h
    src/data_report/RecordQueueWatch.h
    src/data_report/ReportTypes.h
    src/heartbeat/CommandCounters.h
    src/heartbeat/LiveHeartReport.h
    src/heartbeat/LiveHeartReportData.h
    src/heartbeat/LiveHeartReportManager.h
    src/message_center/CMsgCenterFactory.h
    src/message_center/CenterWatch.h
    src/message_center/HeartBaseConfig.h
    src/platform/CPing.h
    src/platform/Log.h
    src/platform/SharedClasses.h
    src/session/CLiveCommonInfo.h
    src/session/QoUser.h)

# The same view of them for users in this build: a header there includes the one here.
set(headers_of_build ${PROJECT_BINARY_DIR}/include)
function(qolive_public_header header installed)
  file(CONFIGURE OUTPUT ${headers_of_build}/${installed} CONTENT "#pragma once\n#include \"${PROJECT_SOURCE_DIR}/${header}\"\n")
  get_filename_component(folder ${installed} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder} COMPONENT development)
endfunction()
foreach(header ${c_headers})
  get_filename_component(installed ${header} NAME)
  qolive_public_header(${header} ${installed})
endforeach()
foreach(header ${class_headers})
  string(REGEX REPLACE "^src/" "qolive_report/" installed ${header})
  qolive_public_header(${header} ${installed})
endforeach()
install(FILES ${headers_of_build}/qolive_report_version.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
target_include_directories(qolive_report INTERFACE $<BUILD_INTERFACE:${headers_of_build}>)

# qolive_report_headers: what any host sees of the library, for what is linked with it later.
add_library(qolive_report_headers INTERFACE)
target_include_directories(qolive_report_headers INTERFACE ${headers_of_build})

install(TARGETS qolive_report EXPORT QoLiveReportTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

if(WIN32 AND QOLIVE_DLLTOOL)
  install(FILES ${PROJECT_BINARY_DIR}/QoLiveReport.def ${PROJECT_BINARY_DIR}/QoLiveReport.lib
          DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

set_target_properties(qolive_report PROPERTIES EXPORT_NAME QoLiveReport)
add_library(QoLiveReport::QoLiveReport ALIAS qolive_report)

install(EXPORT QoLiveReportTargets NAMESPACE QoLiveReport:: DESTINATION ${package_folder} COMPONENT development)
configure_package_config_file(cmake/QoLiveReportConfig.cmake.in ${PROJECT_BINARY_DIR}/QoLiveReportConfig.cmake
                              INSTALL_DESTINATION ${package_folder} PATH_VARS CMAKE_INSTALL_LIBDIR)
# The classes hand jsoncpp's values over, so library and host need the same jsoncpp; on Windows it is inside the DLL.
# Of the compiler's version the first number is enough: MinGW's, as Debian has it, tells no more.
string(REGEX MATCH "^[0-9]+" compiler_name ${CMAKE_CXX_COMPILER_VERSION})
string(PREPEND compiler_name "${CMAKE_CXX_COMPILER_ID} ")
set(jsoncpp_needed "jsoncpp ${JsonCpp_VERSION}")
if(WIN32)
  string(APPEND jsoncpp_needed ", static, with exceptions, built by ${compiler_name} of MinGW-w64 (posix threads, msvcrt), as \
scripts/windows-deps builds it")
endif()
configure_file(cmake/QoLiveReportClasses.cmake.in ${PROJECT_BINARY_DIR}/QoLiveReportClasses.cmake @ONLY)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QoLiveReportConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QoLiveReportConfig.cmake ${PROJECT_BINARY_DIR}/QoLiveReportConfigVersion.cmake
              ${PROJECT_BINARY_DIR}/QoLiveReportClasses.cmake cmake/FindJsonCpp.cmake
        DESTINATION ${package_folder} COMPONENT development)

# QoLiveReport.pc for the classes, qolive-report-c.pc for the C interface, which needs no jsoncpp. They find their own prefix,
# unless the folders are absolute.
set(pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(PREPEND pc_prefix "\${pcfiledir}/")
endif()
foreach(folder LIBDIR INCLUDEDIR)
  set(pc_${folder} ${CMAKE_INSTALL_${folder}})
  if(NOT IS_ABSOLUTE "${pc_${folder}}")
    string(PREPEND pc_${folder} "\${prefix}/")
  endif()
endforeach()
foreach(path pc_prefix pc_LIBDIR pc_INCLUDEDIR)
  string(REPLACE " " "\\ " ${path} "${${path}}")
endforeach()
foreach(name QoLiveReport qolive-report-c)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

if(PROJECT_IS_TOP_LEVEL)
  include(QolivePackages)
endif()
