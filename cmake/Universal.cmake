# The linker of the cross build leaves out a mark that newer systems may ask of a program.
add_custom_command(TARGET LogCollectionTool POST_BUILD
  COMMAND ${PROJECT_SOURCE_DIR}/packaging/macos/mark_read_only $<TARGET_FILE:LogCollectionTool>
  VERBATIM)

# One program is made for all kinds of Mac: the configuration for the first architecture of the tool chain's list has
# the project configured like itself and built once more for each of the others, and joins what comes out.
if(NOT MACOS_ARCHITECTURE STREQUAL macos_first_architecture)
  return()
endif()
set_target_properties(LogCollectionTool PROPERTIES
  RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${MACOS_ARCHITECTURE})
set(halves $<TARGET_FILE:LogCollectionTool>)
set(before LogCollectionTool)
list(REMOVE_ITEM macos_architectures ${MACOS_ARCHITECTURE})
foreach(architecture IN LISTS macos_architectures)
  set(folder ${PROJECT_BINARY_DIR}/${architecture})
  add_custom_command(OUTPUT ${folder}/build.ninja
    COMMAND ${CMAKE_COMMAND} --preset macos-cross -B ${folder} -DMACOS_ARCHITECTURE=${architecture}
    DEPENDS ${PROJECT_SOURCE_DIR}/CMakePresets.json
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    VERBATIM)
  add_custom_target(half_${architecture}
    COMMAND ${CMAKE_COMMAND} --build ${folder} --target LogCollectionTool
    DEPENDS ${folder}/build.ninja
    BYPRODUCTS ${folder}/LogCollectionTool
    USES_TERMINAL VERBATIM)
  add_dependencies(half_${architecture} ${before})  # each build takes all processors
  set(before half_${architecture})
  list(APPEND halves ${folder}/LogCollectionTool)
endforeach()

# Joined as they are, and never stripped afterwards: arm64 code runs only with the signature that fits it.
set(universal_program ${PROJECT_BINARY_DIR}/LogCollectionTool)
add_custom_command(OUTPUT ${universal_program}
  COMMAND ${macos_lipo} -create ${halves} -output ${universal_program}
  DEPENDS ${halves}
  VERBATIM)
add_custom_target(universal ALL DEPENDS ${universal_program})
