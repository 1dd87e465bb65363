# Compile and link flags, as interface targets.

# What this tree's sources include; users of the libraries have the public headers alone.
add_library(tarn_tree INTERFACE)
target_include_directories(
  tarn_tree INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/platform/include
                      ${PROJECT_SOURCE_DIR})

add_library(tarn_warnings INTERFACE)
target_compile_options(tarn_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)

# For everything that is built here: TARN_SANITIZE is a list for -fsanitize, for example
# "address,undefined".
set(TARN_SANITIZE "" CACHE STRING "Sanitizers to build with")
if(TARN_SANITIZE)
  add_compile_options(-fsanitize=${TARN_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${TARN_SANITIZE})
endif()

# For the library: nothing at run time but the C library, and nothing in it that nobody calls, whatever
# a distribution adds to its compilers' flags. Two targets, since the objects also go into programs.
add_library(tarn_lean_code INTERFACE)
target_compile_options(
  tarn_lean_code
  INTERFACE -fvisibility=hidden
            -fno-plt
            -fno-stack-protector
            -ffunction-sections
            -fdata-sections
            $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
            $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
            $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)
add_library(tarn_lean_link INTERFACE)
target_link_options(
  tarn_lean_link
  INTERFACE
  LINKER:--as-needed
  LINKER:--gc-sections
  LINKER:-z,relro
  LINKER:-z,now
  LINKER:-z,noexecstack
  LINKER:-z,text)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  target_compile_options(tarn_lean_code INTERFACE -mbranch-protection=standard)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  target_compile_options(tarn_lean_code INTERFACE -fcf-protection=full)
endif()
add_library(tarn_lean_object INTERFACE)
target_link_libraries(tarn_lean_object INTERFACE tarn_lean_link)
if(NOT TARN_SANITIZE)
  # Without the compiler's start files the object has no constructor and no destructor at all.
  target_link_options(tarn_lean_object INTERFACE -nostartfiles)
endif()
