# One .zip: the DLL, and all that a host's engineer and whoever passes the DLL on needs.
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME QoLiveReport-${PROJECT_VERSION}-windows-x86_64)

# The licenses of what is linked into the DLL, as they lie beside the sources and tools that it was built from.
set(notices_file ${PROJECT_BINARY_DIR}/THIRD-PARTY-NOTICES.txt)
file(WRITE ${notices_file} "QoLiveReport.dll and QoLive.exe hold parts of the following. Their licenses come one after the other.\n")

function(add_notice title file)
  file(APPEND ${notices_file} "\n\n======================================================================\n${title}\n\
======================================================================\n\n")
  if(EXISTS ${file})
    file(READ ${file} text)
    file(APPEND ${notices_file} "${text}")
  else()
    message(WARNING "The notices of the package lack the license of ${title}: scripts/windows-deps fetches it")
  endif()
endfunction()

set(licenses ${QOLIVE_WINDOWS_LIBRARIES}/licenses)
if(QOLIVE_MOSQUITTO_LICENSE)
  add_notice("OpenSSL ${OPENSSL_VERSION}" ${licenses}/openssl)
  add_notice("The MQTT client library of mosquitto, with changes (Roger Light and others)" ${QOLIVE_MOSQUITTO_LICENSE})
endif()
add_notice("jsoncpp ${JsonCpp_VERSION}" ${licenses}/libjsoncpp)
add_notice("Runtime libraries of the compiler, ${compiler_name} (libgcc, libstdc++, libssp)" ${licenses}/gcc)
add_notice("Runtime libraries of mingw-w64 (start-up code, winpthreads)" ${licenses}/mingw-w64)

install(FILES LICENSE README.md CHANGELOG.md ${notices_file} DESTINATION . COMPONENT development)
install(FILES bindings/qolive_report.py bindings/QoLiveReport.cs DESTINATION bindings COMPONENT development)
install(DIRECTORY docs DESTINATION . COMPONENT development)
