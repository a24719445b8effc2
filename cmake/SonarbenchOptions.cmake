# Compiler options for every target of this project: link with sonarbench_options.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# Assertions are part of the product, so no build type defines NDEBUG.
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_CXX_FLAGS_MINSIZEREL "-Os")

add_library(sonarbench_options INTERFACE)
target_include_directories(sonarbench_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(
  sonarbench_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wshadow
            -Werror
            # Assertion reports name files by their path from the repository's root.
            -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
# Files of any size, on 32-bit targets as well.
target_compile_definitions(sonarbench_options INTERFACE _FILE_OFFSET_BITS=64 QT_NO_CAST_FROM_ASCII
                                                        QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)

# A unity build compiles many sources as one, which takes a third of the time. So the names of a target's sources
# differ, even in unnamed namespaces; sources with names in common have SKIP_UNITY_BUILD_INCLUSION.
if(CMAKE_UNITY_BUILD)
  # It expects unnamed namespaces only in what is not included.
  target_compile_options(sonarbench_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()

set(SONARBENCH_SANITIZE "" CACHE STRING "Sanitizers to build with, such as address,undefined")
if(SONARBENCH_SANITIZE)
  # Targets with the property SONARBENCH_PLAIN are built without sanitizers.
  set(wanted "$<NOT:$<BOOL:$<TARGET_PROPERTY:SONARBENCH_PLAIN>>>")
  target_compile_options(
    sonarbench_options INTERFACE "$<${wanted}:-fsanitize=${SONARBENCH_SANITIZE};-fno-sanitize-recover=all>"
                                 -fno-omit-frame-pointer)
  # In tests most dereferences are those of googletest's templates: they would take half of the compiler's time.
  target_compile_options(sonarbench_options
                         INTERFACE $<$<BOOL:$<TARGET_PROPERTY:SONARBENCH_TEST>>:-fno-sanitize=null,alignment>)
  target_link_options(sonarbench_options INTERFACE "$<${wanted}:-fsanitize=${SONARBENCH_SANITIZE}>")
endif()

# The program runs as root, next to other software, and reads foreign data. So every build has the hardening of compiler
# and linker against memory errors that redirect control. tests/hardening.sh checks the programs for it.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
target_compile_options(sonarbench_options INTERFACE -fstack-protector-strong)
target_link_options(sonarbench_options INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
# Not available on every architecture.
foreach(option -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER SONARBENCH_HAS${option} known)
  check_cxx_compiler_flag("-Werror ${option}" ${known})
  if(${known})
    target_compile_options(sonarbench_options INTERFACE ${option})
  endif()
endforeach()
# Checked calls of the C library need an optimiser that knows the sizes, and they hide calls from the sanitizers. Level
# 3 knows more sizes than level 2; older C libraries warn that they have only level 2.
if(NOT SONARBENCH_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(CMAKE_REQUIRED_FLAGS "-Werror -O2 -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("#include <cstdio>\nint main() {}" SONARBENCH_HAS_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  set(SONARBENCH_FORTIFY $<IF:$<BOOL:${SONARBENCH_HAS_FORTIFY_3}>,3,2>)
  target_compile_options(sonarbench_options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${SONARBENCH_FORTIFY})
endif()
