# Installation, the package file for find_package(zenta), and the .deb.

include(CMakePackageConfigHelpers)

get_property(zenta_libraries GLOBAL PROPERTY ZENTA_LIBRARIES)
install(TARGETS ${zenta_libraries} EXPORT zenta-targets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zenta)
install(EXPORT zenta-targets NAMESPACE zenta:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zenta)
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/zenta-config.cmake.in" "${PROJECT_BINARY_DIR}/zenta-config.cmake"
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zenta)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zenta-config-version.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zenta-config.cmake" "${PROJECT_BINARY_DIR}/zenta-config-version.cmake"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zenta)
if(ZENTA_BUILD_TOOLS)
  install(TARGETS zenta-update RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(TARGET zentactl)
    install(TARGETS zentactl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endif()

if(PROJECT_IS_TOP_LEVEL)
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME zenta)
  set(CPACK_PACKAGE_CONTACT "the Zenta authors <maintainers@zenta.example>")
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # A package that trusts a public private key must never leave the house: cpack stops in this script.
  set(CPACK_ZENTA_SIGNING_IS_DEVELOPMENT "${ZENTA_SIGNING_IS_DEVELOPMENT}")
  set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_SOURCE_DIR}/cmake/RefuseDevelopmentPackage.cmake")
  include(CPack)
endif()
