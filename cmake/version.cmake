# The version also stands in every public header, for the preprocessor to ask.
math(EXPR version_number "${PROJECT_VERSION_MAJOR} * 10000 + ${PROJECT_VERSION_MINOR} * 100
                          + ${PROJECT_VERSION_PATCH}")
file(GLOB versioned_headers include/*.h platform/include/tarn/*.h service/mqc_*.h)
foreach(header ${versioned_headers})
  file(STRINGS ${header} version REGEX "^#define [A-Z_]+_VERSION ${version_number}$")
  if(NOT version)
    message(FATAL_ERROR "${header} lacks its version macro with the value ${version_number}")
  endif()
endforeach()
