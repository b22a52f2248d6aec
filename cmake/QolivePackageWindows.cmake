# One .zip: the DLL with all that a host's engineer needs.
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME QoLiveReport-${PROJECT_VERSION}-windows-x86_64)
install(FILES LICENSE CHANGELOG.md docs/embedding.md DESTINATION . COMPONENT development)
