# Installation, the package files for find_package(zenta) and pkg-config, and the .deb packages, in three components:
#
#   Development  libraries, headers, package files, documents, examples    libzenta-dev
#   Runtime      the updater                                               zenta-update
#   Tools        zentactl, and the installer that plays a Mac's            zenta-tools
#
# `cmake --install FOLDER --component Development` installs one of them. With ZENTA_INSTALL off nothing is installed.

include(CMakePackageConfigHelpers)

# Installs the licence with a component, where Debian expects it.
function(zenta_install_licence component package)
  install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}" RENAME copyright
          COMPONENT ${component})
endfunction()

# ---- Development

get_property(zenta_libraries GLOBAL PROPERTY ZENTA_LIBRARIES)
set(zenta_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zenta")
install(TARGETS ${zenta_libraries} EXPORT zenta-targets
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Development
        FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zenta" COMPONENT Development)
install(EXPORT zenta-targets NAMESPACE zenta:: DESTINATION "${zenta_package_dir}" COMPONENT Development)
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/zenta-config.cmake.in" "${PROJECT_BINARY_DIR}/zenta-config.cmake"
                              INSTALL_DESTINATION "${zenta_package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zenta-config-version.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zenta-config.cmake" "${PROJECT_BINARY_DIR}/zenta-config-version.cmake"
              "${PROJECT_SOURCE_DIR}/cmake/FindMarisa.cmake"
        DESTINATION "${zenta_package_dir}" COMPONENT Development)

# zenta_install_pc(NAME DESCRIPTION REQUIRES LIBRARY...): writes zenta-NAME.pc. Its paths are relative to the file, so that
# `cmake --install --prefix` can choose the prefix. Each library is listed before those that it needs.
function(zenta_install_pc name description requires)
  set(zenta_pc_name "${name}")
  set(zenta_pc_description "${description}")
  set(zenta_pc_requires "${requires}")
  set(zenta_pc_threads "${CMAKE_THREAD_LIBS_INIT}")
  if(NOT zenta_pc_threads AND NOT APPLE)
    set(zenta_pc_threads -pthread)
  endif()
  list(TRANSFORM ARGN PREPEND "-l" OUTPUT_VARIABLE flags)
  list(JOIN flags " " zenta_pc_libraries)
  set(zenta_pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(zenta_pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
  file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  set(zenta_pc_prefix "\${pcfiledir}/${up}")
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(zenta_pc_prefix "${CMAKE_INSTALL_PREFIX}")
    set(zenta_pc_libdir "${CMAKE_INSTALL_FULL_LIBDIR}")
    set(zenta_pc_includedir "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
  endif()
  configure_file("${PROJECT_SOURCE_DIR}/cmake/zenta.pc.in" "${PROJECT_BINARY_DIR}/zenta-${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/zenta-${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT Development)
endfunction()

set(zenta_corelib_archives "")
set(zenta_engine_archives "")
foreach(library IN LISTS zenta_libraries)
  get_target_property(type ${library} TYPE)
  get_target_property(folder ${library} SOURCE_DIR)
  file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}" "${folder}")
  string(REGEX MATCH "^[^/]+" half "${folder}")
  if(type STREQUAL "STATIC_LIBRARY")
    list(PREPEND zenta_${half}_archives ${library})
  endif()
endforeach()
zenta_install_pc(corelib "text, files, containers, dictionary images" "marisa" ${zenta_corelib_archives})
zenta_install_pc(engine "records, cloud messages, keyboard traces, file images" "zenta-corelib = ${PROJECT_VERSION}"
                 ${zenta_engine_archives})

set(zenta_doc_dir "${CMAKE_INSTALL_DATAROOTDIR}/doc/libzenta-dev")
install(DIRECTORY docs examples DESTINATION "${zenta_doc_dir}" COMPONENT Development
        FILES_MATCHING PATTERN "*.md" PATTERN "*.cc" PATTERN "*.jsonl" PATTERN "*.proto" PATTERN "recorded/*" PATTERN "words/*"
        PATTERN "ZentaIM.app" EXCLUDE)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION "${zenta_doc_dir}" COMPONENT Development)
install(FILES docs/cloud.proto DESTINATION "${CMAKE_INSTALL_DATADIR}/zenta" COMPONENT Development)
zenta_install_licence(Development libzenta-dev)
set(zenta_components Development)

# ---- Programs

if(ZENTA_BUILD_TOOLS)
  install(TARGETS zenta-update RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Runtime)
  configure_file(packaging/zenta-update.8.in zenta-update.8 @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/zenta-update.8" DESTINATION "${CMAKE_INSTALL_MANDIR}/man8" COMPONENT Runtime)
  zenta_install_licence(Runtime zenta-update)
  list(APPEND zenta_components Runtime)
endif()
if(TARGET zentactl)
  install(TARGETS zentactl RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Tools)
  if(TARGET zenta-host-installer)
    install(TARGETS zenta-host-installer RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Tools)
  endif()
  if(TARGET zentactl-pages)
    # zsh's own folder, and the one below /usr that Debian's zsh reads.
    foreach(page IN ITEMS man:${CMAKE_INSTALL_MANDIR}/man1/zentactl.1
                          bash:${CMAKE_INSTALL_DATADIR}/bash-completion/completions/zentactl
                          zsh:${CMAKE_INSTALL_DATADIR}/zsh/site-functions/_zentactl
                          zsh:${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions/_zentactl
                          fish:${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d/zentactl.fish)
      string(REGEX MATCH "^([a-z]+):(.+)/([^/]+)$" _ "${page}")
      install(FILES "${PROJECT_BINARY_DIR}/tools/zentactl/pages/${CMAKE_MATCH_1}" DESTINATION "${CMAKE_MATCH_2}"
              RENAME "${CMAKE_MATCH_3}" COMPONENT Tools)
    endforeach()
  endif()
  zenta_install_licence(Tools zenta-tools)
  list(APPEND zenta_components Tools)
endif()

# ---- Packages: `cpack` in the build folder

if(PROJECT_IS_TOP_LEVEL)
  set(CPACK_GENERATOR TGZ)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    set(CPACK_GENERATOR DEB)
  endif()
  set(CPACK_COMPONENTS_ALL ${zenta_components})
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_PACKAGE_NAME zenta)
  set(CPACK_PACKAGE_CONTACT "the Zenta authors <maintainers@zenta.example>")
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzenta-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libmarisa-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "pkg-config, cmake")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME zenta-update)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS pkexec)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zenta-tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)

  # Programs that trust the development key, whose private half is public, must never be published: this script stops cpack.
  set(CPACK_ZENTA_SIGNING_IS_DEVELOPMENT "${ZENTA_SIGNING_IS_DEVELOPMENT}")
  set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_SOURCE_DIR}/cmake/RefuseDevelopmentPackage.cmake")
  include(CPack)
  cpack_add_component(Development DESCRIPTION "Core library of a Chinese input method: headers and static libraries")
  cpack_add_component(Runtime DESCRIPTION "Update installer of a Chinese input method")
  cpack_add_component(Tools DESCRIPTION "Release tools of a Chinese input method: keys, signing, packages, traces")
endif()
