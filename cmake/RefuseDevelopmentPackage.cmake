# Run by cpack: refuses to package programs that trust the development key. The library alone has no key and is packaged:
# `cpack -D CPACK_COMPONENTS_ALL=Development`.
if(CPACK_ZENTA_SIGNING_IS_DEVELOPMENT AND CPACK_COMPONENTS_ALL MATCHES "Runtime|Tools")
  message(FATAL_ERROR "This build trusts the development signing key, whose private half is public. Configure with "
                      "-DZENTA_SIGNING_CONFIG=<file made by `zentactl keygen`> before packaging.")
endif()
