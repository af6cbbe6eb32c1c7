# pins10_embed_block(OUTPUT_CPP <file.cpp> JSON <description.json> SYMBOL <identifier>)
#
# Adds a build step that turns one parameter-block description into a C++ source defining
#   extern const unsigned char <identifier>[];       // the block's bytes
#   extern const unsigned int  <identifier>_size;    // its size in bytes
# The source is regenerated when the description or the generator changes. Add OUTPUT_CPP to a
# target of the same directory (target_sources); nothing needs to be linked for it.
# A relative OUTPUT_CPP is taken in the current binary directory, a relative JSON in the current
# source directory. PINS10_DEFAULT_BLOCKS_DIR names the folder of the built-in descriptions.
set(PINS10_DEFAULT_BLOCKS_DIR "${CMAKE_CURRENT_LIST_DIR}/../../XConstruct/Hb4/Data")
cmake_path(NORMAL_PATH PINS10_DEFAULT_BLOCKS_DIR)

function(pins10_embed_block)
  cmake_parse_arguments(ARG "" "OUTPUT_CPP;JSON;SYMBOL" "" ${ARGN})
  if(NOT ARG_OUTPUT_CPP OR NOT ARG_JSON OR NOT ARG_SYMBOL)
    message(FATAL_ERROR "pins10_embed_block: OUTPUT_CPP, JSON and SYMBOL are required")
  endif()
  cmake_path(ABSOLUTE_PATH ARG_OUTPUT_CPP BASE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}")
  cmake_path(ABSOLUTE_PATH ARG_JSON BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
  add_custom_command(
    OUTPUT "${ARG_OUTPUT_CPP}"
    COMMAND pins10-embed "${ARG_JSON}" "${ARG_OUTPUT_CPP}" "${ARG_SYMBOL}"
    DEPENDS pins10-embed "${ARG_JSON}"
    COMMENT "Embedding parameter block ${ARG_SYMBOL}"
    VERBATIM)
endfunction()
