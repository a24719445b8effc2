# What every target of this project is compiled with; link against sonarbench_options.
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

set(SONARBENCH_SANITIZE "" CACHE STRING "Sanitizers to build with, such as address,undefined")
if(SONARBENCH_SANITIZE)
  target_compile_options(sonarbench_options INTERFACE -fsanitize=${SONARBENCH_SANITIZE}
                                                      -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(sonarbench_options INTERFACE -fsanitize=${SONARBENCH_SANITIZE})
endif()
