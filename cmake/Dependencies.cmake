# The libraries that the tool stands on. Made self-contained, the executable carries Boost, fmt, spdlog and minizip
# and needs nothing but the system: the rule on macOS, where users have no package manager.
set(self_contained_default OFF)
if(APPLE)
  set(self_contained_default ON)
endif()
option(LOGCOLLECT_SELF_CONTAINED "Link Boost, fmt, spdlog and minizip into the executable" ${self_contained_default})

if(LOGCOLLECT_SELF_CONTAINED)
  set(Boost_USE_STATIC_LIBS ON)
endif()

# Newer CMakes take what Boost itself says of its place.
if(POLICY CMP0167)
  cmake_policy(SET CMP0167 NEW)
endif()

find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(MINIZIP REQUIRED IMPORTED_TARGET minizip)
find_package(Boost 1.74 REQUIRED COMPONENTS filesystem)
find_package(fmt 9 REQUIRED)
find_package(spdlog 1.10 REQUIRED)
find_package(CURL 7.64 REQUIRED)  # macOS 11 has 7.64

# One name each for the libraries that come in two forms.
add_library(logcollect_fmt INTERFACE)
add_library(logcollect_spdlog INTERFACE)
add_library(logcollect_minizip INTERFACE)
if(LOGCOLLECT_SELF_CONTAINED)
  target_link_libraries(logcollect_fmt INTERFACE fmt::fmt-header-only)
  # spdlog's own header-only target may still ask for fmt's shared library, so only its headers are taken.
  target_include_directories(logcollect_spdlog SYSTEM INTERFACE
    $<TARGET_PROPERTY:spdlog::spdlog_header_only,INTERFACE_INCLUDE_DIRECTORIES>)
  target_compile_definitions(logcollect_spdlog INTERFACE SPDLOG_FMT_EXTERNAL)
  target_link_libraries(logcollect_spdlog INTERFACE logcollect_fmt Threads::Threads)
  find_library(MINIZIP_ARCHIVE libminizip.a HINTS ${MINIZIP_LIBRARY_DIRS} ${MINIZIP_LIBDIR} REQUIRED)
  target_include_directories(logcollect_minizip SYSTEM INTERFACE ${MINIZIP_INCLUDE_DIRS})
  target_link_libraries(logcollect_minizip INTERFACE ${MINIZIP_ARCHIVE} ZLIB::ZLIB)
else()
  target_link_libraries(logcollect_fmt INTERFACE fmt::fmt)
  target_link_libraries(logcollect_spdlog INTERFACE spdlog::spdlog)
  target_link_libraries(logcollect_minizip INTERFACE PkgConfig::MINIZIP)
endif()
