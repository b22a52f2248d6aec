# What an installation holds: the shared library, the public headers, a CMake package, a pkg-config file. cpack makes a
# .deb (runtime and development package) on Linux and a .zip for Windows of it.
if(NOT TARGET qolive_report)
  return()
endif()

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/qolive_report)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/QoLiveReport)

# The public headers, and what they include. Include paths start at src/ and at the installed folder alike.
target_sources(qolive_report PUBLIC
  FILE_SET HEADERS BASE_DIRS src FILES
    src/data_report/DataReportManager.h
    src/data_report/ReportTypes.h
    src/heartbeat/LiveHeartReport.h
    src/heartbeat/LiveHeartReportData.h
    src/heartbeat/LiveHeartReportManager.h
    src/message_center/CMsgCenterFactory.h
    src/message_center/HeartBaseConfig.h
    src/platform/Export.h
    src/platform/HostReadings.h
    src/platform/Kernel.h
    src/platform/Log.h
    src/platform/SharedClasses.h
    src/platform/Sync.h
    src/platform/ThreadAnnotations.h
    src/session/CLiveCommonInfo.h
    src/session/QoUser.h
  FILE_SET c_headers TYPE HEADERS BASE_DIRS src/c_interface ${PROJECT_BINARY_DIR}/include FILES
    src/c_interface/qolive_report.h
    ${PROJECT_BINARY_DIR}/include/qolive_report_version.h)

install(TARGETS qolive_report EXPORT QoLiveReportTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  FILE_SET HEADERS DESTINATION ${header_folder} COMPONENT development
  FILE_SET c_headers DESTINATION ${header_folder} COMPONENT development
  INCLUDES DESTINATION ${header_folder}) # for a CMake that does not know file sets

if(WIN32)
  install(FILES ${PROJECT_BINARY_DIR}/QoLiveReport.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

set_target_properties(qolive_report PROPERTIES EXPORT_NAME QoLiveReport)
add_library(QoLiveReport::QoLiveReport ALIAS qolive_report)

install(EXPORT QoLiveReportTargets NAMESPACE QoLiveReport:: DESTINATION ${package_folder} COMPONENT development)
configure_package_config_file(cmake/QoLiveReportConfig.cmake.in ${PROJECT_BINARY_DIR}/QoLiveReportConfig.cmake
                              INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QoLiveReportConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QoLiveReportConfig.cmake ${PROJECT_BINARY_DIR}/QoLiveReportConfigVersion.cmake
              cmake/FindJsonCpp.cmake
        DESTINATION ${package_folder} COMPONENT development)

file(RELATIVE_PATH from_pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/QoLiveReport.pc.in ${PROJECT_BINARY_DIR}/QoLiveReport.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/QoLiveReport.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(PROJECT_IS_TOP_LEVEL)
  include(QolivePackages)
endif()
