# Unpacks ZIP into the empty folder ROOT and holds what is there against what has to be: the DLL with the import libraries of both
# linkers, every document of DOCUMENTS, and the licenses of all that the DLL holds.
file(REMOVE_RECURSE ${ROOT})
file(ARCHIVE_EXTRACT INPUT ${ZIP} DESTINATION ${ROOT})
file(GLOB folder ${ROOT}/*)

function(need_file path)
  if(NOT EXISTS ${folder}/${path})
    message(SEND_ERROR "The package lacks ${path}")
  endif()
endfunction()

file(GLOB_RECURSE documents RELATIVE ${DOCUMENTS} ${DOCUMENTS}/*)
list(TRANSFORM documents PREPEND docs/)
foreach(path ${documents} LICENSE README.md CHANGELOG.md bin/QoLiveReport.dll lib/libQoLiveReport.dll.a lib/QoLiveReport.lib
             lib/QoLiveReport.def bindings/qolive_report.py bindings/QoLiveReport.cs include/qolive_report.h)
  need_file(${path})
endforeach()

file(READ ${folder}/THIRD-PARTY-NOTICES.txt notices)
foreach(words "OpenSSL [0-9]" "Apache License" "mosquitto" "Eclipse Distribution License" "Troy D. Hanson" "jsoncpp [0-9]"
              "Baptiste Lepilleur" "GCC RUNTIME LIBRARY EXCEPTION" "GNU GENERAL PUBLIC LICENSE" "mingw-w64 project" "winpthreads")
  if(NOT notices MATCHES "${words}")
    message(SEND_ERROR "The notices lack '${words}'")
  endif()
endforeach()
