# What `cmake --install` and `cpack` deliver: the program, the module, the host library, the public headers, the filter
# base classes for a client's own filters, and the files by which pkg-config and CMake find them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The module and the host library stand beside each other; the program finds both from where it stands itself.
file(RELATIVE_PATH QRN_LIB_FROM_BIN "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set_target_properties(qrn PROPERTIES INSTALL_RPATH "$ORIGIN/${QRN_LIB_FROM_BIN}")

# One archive with all that the base classes stand on, so that a client links one file.
add_library(qrn_framework_archive STATIC
    $<TARGET_OBJECTS:qrn_framework> $<TARGET_OBJECTS:qrn_platform_system> $<TARGET_OBJECTS:qrn_platform_com>)
set_target_properties(qrn_framework_archive PROPERTIES
    OUTPUT_NAME qrn_framework
    EXPORT_NAME framework
    LINKER_LANGUAGE CXX
    ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")
target_compile_features(qrn_framework_archive PUBLIC cxx_std_20)
target_link_libraries(qrn_framework_archive PUBLIC Threads::Threads)
target_include_directories(qrn_framework_archive INTERFACE
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/src>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qrn-framework>)
target_compile_features(qrn_host PUBLIC cxx_std_20)
# The host library looks for the module beside itself too.
set_target_properties(qrn_host PROPERTIES EXPORT_NAME host INSTALL_RPATH "$ORIGIN")
target_include_directories(qrn_host PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

# The names under which find_package(qrn) knows them, for the examples in this tree.
add_library(qrn::framework ALIAS qrn_framework_archive)
add_library(qrn::host ALIAS qrn_host)

install(TARGETS qrn RUNTIME COMPONENT runtime)
install(TARGETS QRN_Media2 LIBRARY COMPONENT runtime NAMELINK_COMPONENT runtime)
install(TARGETS qrn_host EXPORT qrn LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS qrn_framework_archive EXPORT qrn ARCHIVE COMPONENT development)
install(DIRECTORY include/qrn DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
foreach(FOLDER framework platform/system platform/com)
    install(DIRECTORY src/${FOLDER}/ DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qrn-framework/${FOLDER}"
        COMPONENT development FILES_MATCHING PATTERN "*.h")
endforeach()

install(EXPORT qrn NAMESPACE qrn:: FILE qrn-targets.cmake DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/qrn"
    COMPONENT development)
configure_package_config_file(cmake/qrn-config.cmake.in "${CMAKE_BINARY_DIR}/qrn-config.cmake"
    INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/qrn")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/qrn-config-version.cmake" COMPATIBILITY SameMinorVersion)
# pkg-config finds the prefix from where the file stands, so that an installation can be moved as a whole.
file(RELATIVE_PATH QRN_PREFIX_FROM_PC "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(cmake/qrn.pc.in "${CMAKE_BINARY_DIR}/qrn.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/qrn-config.cmake" "${CMAKE_BINARY_DIR}/qrn-config-version.cmake"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/qrn" COMPONENT development)
install(FILES "${CMAKE_BINARY_DIR}/qrn.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
install(FILES LICENSE README.md CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT runtime)
install(DIRECTORY docs examples DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_PACKAGE_NAME qrn-media2)
set(CPACK_PACKAGE_CONTACT "QRN_Media2 maintainers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME qrn-media2)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME qrn-media2-dev)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS alsa-utils)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
include(CPack)
