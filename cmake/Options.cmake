# The compiler options that are part of the library's contract, and the warnings that only this tree uses.

# Clients derive from AObject, so they compile under the same rules: objects start zero-filled by their operator new
# (-flifetime-dse=1), hardware faults travel as exceptions, integers wrap, records are read through casts, and versions
# and tags are signed characters.
add_library(ky_contract INTERFACE)
set_target_properties(ky_contract PROPERTIES EXPORT_NAME contract)
target_compile_features(ky_contract INTERFACE cxx_std_20)
target_compile_options(ky_contract INTERFACE
  $<$<CXX_COMPILER_ID:GNU>:-flifetime-dse=1 -fnon-call-exceptions>
  -fno-delete-null-pointer-checks -fwrapv -fno-strict-aliasing -fsigned-char)

# They are errors in the plain presets alone: instrumented code, other options and other compilers may mislead a
# compiler about sizes and lifetimes.
add_library(ky_warnings INTERFACE)
target_compile_options(ky_warnings INTERFACE -Wall -Wextra -Wpedantic -Wnon-virtual-dtor)

if(KY_SANITIZE)
  add_compile_options(-fsanitize=${KY_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KY_SANITIZE})
  add_compile_definitions(KY_SANITIZED=1)
endif()

# A folder lists its own files: public headers are installed and compiled alone, private ones are not.
function(ky_headers)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(KyCoreM2W10 PUBLIC FILE_SET HEADERS FILES ${ARGN})
endfunction()
function(ky_sources)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(KyCoreM2W10 PRIVATE ${ARGN})
endfunction()
