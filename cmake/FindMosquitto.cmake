# Mosquitto::mosquitto, the MQTT client library (shared, or the static build where only that is found).
find_path(Mosquitto_INCLUDE_DIR mosquitto.h)
find_library(Mosquitto_LIBRARY NAMES mosquitto mosquitto_static)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Mosquitto REQUIRED_VARS Mosquitto_LIBRARY Mosquitto_INCLUDE_DIR)

if(Mosquitto_FOUND AND NOT TARGET Mosquitto::mosquitto)
  add_library(Mosquitto::mosquitto UNKNOWN IMPORTED)
  set_target_properties(Mosquitto::mosquitto PROPERTIES IMPORTED_LOCATION ${Mosquitto_LIBRARY}
                        INTERFACE_INCLUDE_DIRECTORIES ${Mosquitto_INCLUDE_DIR})
  if(Mosquitto_LIBRARY MATCHES "\\.a$")
    target_compile_definitions(Mosquitto::mosquitto INTERFACE LIBMOSQUITTO_STATIC)
    target_link_libraries(Mosquitto::mosquitto INTERFACE OpenSSL::SSL Threads::Threads $<$<BOOL:${WIN32}>:ws2_32>)
  endif()
endif()
