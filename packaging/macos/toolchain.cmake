# Builds for macOS on Linux: `./dev macos` fetches what this file names, then uses it through the preset macos-cross.
# Frameworks and system libraries are stubs that list the symbols used; see stubs/ and include/.

# All architectures of the one program that comes out of it. A configuration compiles for one of them: the first,
# unless it is told another. cmake/Universal.cmake has the others built from there.
set(macos_architectures x86_64 arm64)
list(GET macos_architectures 0 macos_first_architecture)
set(MACOS_ARCHITECTURE ${macos_first_architecture} CACHE STRING "What to compile for: ${macos_architectures}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MACOS_ARCHITECTURE)

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${MACOS_ARCHITECTURE})
string(REPLACE arm64 aarch64 macos_processor ${MACOS_ARCHITECTURE})  # the compiler's name for it

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH macos_project)
cmake_path(GET macos_project PARENT_PATH macos_project)
set(macos_prefix ${macos_project}/.cache/macos/prefix)
if(NOT MACOS_ARCHITECTURE STREQUAL macos_first_architecture)
  string(APPEND macos_prefix -${MACOS_ARCHITECTURE})
endif()
set(macos_stubs ${CMAKE_CURRENT_LIST_DIR}/stubs)
if(NOT EXISTS ${macos_project}/.cache/macos/zig/zig)
  message(FATAL_ERROR "the cross compiler is not there yet: run ./dev macos")
endif()

# The oldest macOS that the program runs on. With it the compiler turns the use of a newer system call into an error.
set(macos_minimum 11.0.0)
# The C++ library is built with the first program linked, once for each degree of optimisation: hence -O2 from the
# start, for CMake's trials too.
foreach(language C CXX)
  set(macos_driver_C cc)
  set(macos_driver_CXX c++)
  set(CMAKE_${language}_COMPILER
    ${CMAKE_CURRENT_LIST_DIR}/zig ${macos_driver_${language}} -target ${macos_processor}-macos.${macos_minimum} -O2)
  set(CMAKE_${language}_FLAGS_INIT "-Werror=unguarded-availability -Werror=unguarded-availability-new")
endforeach()
# This compiler is newer than this Boost, which casts out-of-range numbers to enumerators at compile time.
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-enum-constexpr-conversion")
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${CMAKE_CURRENT_LIST_DIR}/include)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-F${macos_stubs}/Frameworks -L${macos_stubs}/lib")

find_program(CMAKE_AR llvm-ar REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib REQUIRED)
find_program(CMAKE_STRIP llvm-strip REQUIRED)
# Debian's have a version in their names. CMake insists on the first, though nothing here has a name to change.
cmake_path(GET CMAKE_AR PARENT_PATH macos_tools)
file(GLOB CMAKE_INSTALL_NAME_TOOL ${macos_tools}/llvm-install-name-tool*)
list(GET CMAKE_INSTALL_NAME_TOOL 0 CMAKE_INSTALL_NAME_TOOL)
file(GLOB macos_lipo ${macos_tools}/llvm-lipo*)
list(GET macos_lipo 0 macos_lipo)

# Packages of this machine are for this machine: nothing outside the two folders is found, but for programs.
set(CMAKE_FIND_ROOT_PATH ${macos_prefix} ${macos_stubs})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${macos_prefix}/lib/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
