# JsonCpp::JsonCpp (shared, or the static build where only that is found) and JsonCpp_VERSION.
find_path(JsonCpp_INCLUDE_DIR json/json.h PATH_SUFFIXES jsoncpp)
find_library(JsonCpp_LIBRARY NAMES jsoncpp)

set(JsonCpp_VERSION)
if(EXISTS "${JsonCpp_INCLUDE_DIR}/json/version.h")
  file(STRINGS "${JsonCpp_INCLUDE_DIR}/json/version.h" JsonCpp_VERSION REGEX "define JSONCPP_VERSION_STRING \"")
  string(REGEX REPLACE ".*\"(.*)\".*" "\\1" JsonCpp_VERSION "${JsonCpp_VERSION}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(JsonCpp REQUIRED_VARS JsonCpp_LIBRARY JsonCpp_INCLUDE_DIR VERSION_VAR JsonCpp_VERSION)

if(JsonCpp_FOUND AND NOT TARGET JsonCpp::JsonCpp)
  add_library(JsonCpp::JsonCpp UNKNOWN IMPORTED)
  set_target_properties(JsonCpp::JsonCpp PROPERTIES IMPORTED_LOCATION ${JsonCpp_LIBRARY}
                        INTERFACE_INCLUDE_DIRECTORIES ${JsonCpp_INCLUDE_DIR})
endif()
