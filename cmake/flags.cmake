# Compiler settings shared by everything in the tree.

set(CMAKE_C_STANDARD 99)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")
set(CMAKE_C_FLAGS_RELEASE "-O3 -DNDEBUG")
# Sanitizer builds keep the asserts and enough optimisation for whole codecs to run in seconds.
set(CMAKE_CXX_FLAGS_SANITIZE "-O1 -g")
set(CMAKE_C_FLAGS_SANITIZE "-O1 -g")

find_program(QOLSC_CCACHE ccache)
if(QOLSC_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${QOLSC_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QOLSC_CCACHE})
endif()

# AVX is the baseline and the ceiling. One result on every machine: no fused multiply-add, no reassociation.
add_compile_options(-mavx -ffp-contract=off -Wall -Wextra)
if(QOLSC_WERROR)
  add_compile_options(-Werror)
endif()
if(QOLSC_SANITIZE)
  add_compile_options(-fsanitize=${QOLSC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QOLSC_SANITIZE})
endif()
