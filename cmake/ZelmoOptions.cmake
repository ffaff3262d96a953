# Compiler settings that every target shares.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

# What pays from -O3 asks for it; elsewhere it only makes code bigger.
set(CMAKE_C_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_RELEASE "-O2")

# Asserts belong to the product, so no build type drops them.
foreach(config RELEASE RELWITHDEBINFO MINSIZEREL)
  string(REPLACE "-DNDEBUG" "" CMAKE_CXX_FLAGS_${config} "${CMAKE_CXX_FLAGS_${config}}")
  string(REPLACE "-DNDEBUG" "" CMAKE_C_FLAGS_${config} "${CMAKE_C_FLAGS_${config}}")
endforeach()

add_library(zelmo_options INTERFACE)
target_compile_options(zelmo_options INTERFACE -Wall -Wextra -Wconversion -Wshadow -Wpointer-arith)
if(ZELMOP15_WERROR)
  target_compile_options(zelmo_options INTERFACE -Werror)
endif()
target_compile_definitions(zelmo_options INTERFACE _GNU_SOURCE)

# What keeps a fault from becoming a way in. The sanitizers have checks of their own in these places.
if(NOT ZELMOP15_SANITIZE)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|i.86")
    add_compile_options(-fcf-protection)
  endif()
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
endif()

# A release does not tell where it was built, so that anybody can build the same.
add_compile_options($<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
  $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=.>)

if(ZELMOP15_SANITIZE)
  # A finding ends the process, so that a test cannot pass over it.
  add_compile_options(-fsanitize=${ZELMOP15_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZELMOP15_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND ZELMOP15_SANITIZE MATCHES "undefined")
    add_compile_options(-fsanitize=function)
  endif()
endif()
