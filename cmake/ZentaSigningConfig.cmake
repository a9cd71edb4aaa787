# Generates the header datahelpers/signing_config_values.h from the signing configuration (a file of "name = value" lines, made
# by `zentactl keygen`), and says so if it is the development one.
#
#   modulus      256 hexadecimal digits: the 1,024-bit public modulus, most significant digit first
#   exponent     the public exponent, decimal
#   alphabet     the codec's 64 characters, a permutation of A-Z a-z 0-9 _ -
#   value        the scrambler's 32-bit value, 8 hexadecimal digits
#   development  yes: the private key is public, packaged builds refuse this configuration

set(ZENTA_SIGNING_CONFIG "${PROJECT_SOURCE_DIR}/config/signing/development.conf"
    CACHE FILEPATH "Signing configuration that the updater is built with")

function(zenta_check_signing_value name pattern)
  if(NOT "${${name}}" MATCHES "${pattern}")
    message(FATAL_ERROR "${ZENTA_SIGNING_CONFIG}: '${name}' is missing or malformed (wanted ${pattern})")
  endif()
endfunction()

function(zenta_generate_signing_config)
  set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${ZENTA_SIGNING_CONFIG}")
  file(STRINGS "${ZENTA_SIGNING_CONFIG}" lines REGEX "^[a-z]+ *=")
  foreach(name modulus exponent alphabet value development)
    set(${name} "")
  endforeach()
  foreach(line IN LISTS lines)
    string(REGEX MATCH "^([a-z]+) *= *([^ ]*) *$" _ "${line}")
    set(${CMAKE_MATCH_1} "${CMAKE_MATCH_2}")
  endforeach()

  string(REPEAT "[0-9a-f]" 256 modulus_pattern)
  zenta_check_signing_value(modulus "^${modulus_pattern}$")
  zenta_check_signing_value(exponent "^[1-9][0-9]*$")
  zenta_check_signing_value(value "^[0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f]$")
  zenta_check_signing_value(development "^(yes|no)$")
  string(LENGTH "${alphabet}" alphabet_length)
  foreach(index RANGE 63)
    if(index LESS alphabet_length)
      string(SUBSTRING "${alphabet}" ${index} 1 character)
      list(APPEND characters "${character}")
    endif()
  endforeach()
  list(REMOVE_DUPLICATES characters)
  list(LENGTH characters distinct)
  if(NOT distinct EQUAL 64 OR NOT alphabet_length EQUAL 64 OR NOT alphabet MATCHES "^[-_0-9A-Za-z]+$")
    message(FATAL_ERROR "${ZENTA_SIGNING_CONFIG}: 'alphabet' must hold A-Z a-z 0-9 _ - once each")
  endif()

  if(development)
    message(STATUS "Signing: DEVELOPMENT configuration; its private key is public, never ship this build")
    set(is_development true)
  else()
    message(STATUS "Signing: configuration ${ZENTA_SIGNING_CONFIG}")
    set(is_development false)
  endif()
  set(ZENTA_SIGNING_IS_DEVELOPMENT ${is_development} PARENT_SCOPE)

  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1, " modulus_bytes "${modulus}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/signing_config_values.h.in"
                 "${PROJECT_BINARY_DIR}/generated/datahelpers/signing_config_values.h" @ONLY)
endfunction()

zenta_generate_signing_config()
