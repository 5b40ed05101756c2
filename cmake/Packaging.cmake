# `cpack` makes one archive of what `cmake --install` places, named after the version and the system it is for.
set(packaged_kind linux-${CMAKE_SYSTEM_PROCESSOR})
if(universal_program)
  set(packaged_kind macos-universal)
elseif(APPLE)
  set(packaged_kind macos-${CMAKE_SYSTEM_PROCESSOR})
endif()
set(CPACK_GENERATOR TGZ)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-${packaged_kind})
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)

# The cross build is looked over by the script that makes it, a build on a Mac by its own tests.
if(APPLE AND NOT CMAKE_CROSSCOMPILING AND BUILD_TESTING AND LOGCOLLECT_SELF_CONTAINED)
  add_test(NAME packaging.needs_only_the_system
    COMMAND ${PROJECT_SOURCE_DIR}/packaging/macos/check $<TARGET_FILE:LogCollectionTool>)
endif()
