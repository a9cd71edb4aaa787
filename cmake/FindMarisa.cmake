# Finds marisa-trie's library, as the target Marisa::Marisa. It is installed beside the package file, because programs that
# link our static libraries have to link marisa-trie themselves.
#
# ZENTA_MARISA may name the library. On a Mac the static one is preferred, so that programs need nothing but the system.
if(APPLE)
  find_library(ZENTA_MARISA NAMES libmarisa.a marisa DOC "marisa-trie's library")
else()
  find_library(ZENTA_MARISA NAMES marisa DOC "marisa-trie's library")
endif()
mark_as_advanced(ZENTA_MARISA)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Marisa REQUIRED_VARS ZENTA_MARISA REASON_FAILURE_MESSAGE
  "zenta needs marisa-trie: apt-get install libmarisa-dev, or brew install marisa")

if(Marisa_FOUND AND NOT TARGET Marisa::Marisa)
  add_library(Marisa::Marisa UNKNOWN IMPORTED)
  set_target_properties(Marisa::Marisa PROPERTIES IMPORTED_LOCATION "${ZENTA_MARISA}")
endif()
