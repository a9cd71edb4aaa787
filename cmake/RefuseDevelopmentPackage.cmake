if(CPACK_ZENTA_SIGNING_IS_DEVELOPMENT)
  message(FATAL_ERROR "This build trusts the development signing key, whose private half is public. Configure with "
                      "-DZENTA_SIGNING_CONFIG=<file made by `zentactl keygen`> before packaging.")
endif()
