# libbacktrace comes with g++ and names routines that the dynamic symbol table leaves out. Its header lies among the
# compiler's own, which another compiler may look into last only.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libbacktrace.a
                OUTPUT_VARIABLE ky_backtrace OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(ky_backtrace_include "${ky_backtrace}" DIRECTORY)
string(APPEND ky_backtrace_include /include)
if(EXISTS "${ky_backtrace}" AND EXISTS "${ky_backtrace_include}/backtrace.h")
  set_source_files_properties(${PROJECT_SOURCE_DIR}/platform/posix/Stack.cpp TARGET_DIRECTORY KyCoreM2W10 PROPERTIES
                              COMPILE_DEFINITIONS KY_HAVE_LIBBACKTRACE=1
                              COMPILE_OPTIONS "-idirafter;${ky_backtrace_include}")
  target_link_libraries(KyCoreM2W10 PRIVATE ${ky_backtrace})
  target_link_options(KyCoreM2W10 PRIVATE LINKER:--exclude-libs,libbacktrace.a)
endif()
