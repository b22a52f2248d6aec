# JsonCpp::JsonCpp (shared, or the static build where only that is found).
find_path(JsonCpp_INCLUDE_DIR json/json.h PATH_SUFFIXES jsoncpp)
find_library(JsonCpp_LIBRARY NAMES jsoncpp)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(JsonCpp REQUIRED_VARS JsonCpp_LIBRARY JsonCpp_INCLUDE_DIR)

if(JsonCpp_FOUND AND NOT TARGET JsonCpp::JsonCpp)
  add_library(JsonCpp::JsonCpp UNKNOWN IMPORTED)
  set_target_properties(JsonCpp::JsonCpp PROPERTIES IMPORTED_LOCATION ${JsonCpp_LIBRARY}
                        INTERFACE_INCLUDE_DIRECTORIES ${JsonCpp_INCLUDE_DIR})
endif()
