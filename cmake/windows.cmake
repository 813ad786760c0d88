# Windows-only parts of the cross-build, included from the top CMakeLists.txt: the version
# resources of vellmark.exe and Vellmark.dll, the program's application manifest, and the
# test host that drives the DLL's exports under Wine (tests/windows).
enable_language(RC)

# windres reads the version as macros; the text form is stringified in version_info.rc, so
# no quotes have to survive the trip through the command line.
set(VELLMARK_RC_DEFINITIONS
    "VELLMARK_RC_VERSION=${PROJECT_VERSION_MAJOR},${PROJECT_VERSION_MINOR},${PROJECT_VERSION_PATCH},0"
    "VELLMARK_RC_VERSION_TEXT=${PROJECT_VERSION}")
set(VELLMARK_RC_DIR ${CMAKE_CURRENT_SOURCE_DIR}/src/platform)
foreach(rc vellmark.rc Vellmark.dll.rc)
  set_source_files_properties(${VELLMARK_RC_DIR}/${rc} PROPERTIES
    COMPILE_DEFINITIONS "${VELLMARK_RC_DEFINITIONS}"
    INCLUDE_DIRECTORIES ${VELLMARK_RC_DIR}
    OBJECT_DEPENDS "${VELLMARK_RC_DIR}/version_info.rc;${VELLMARK_RC_DIR}/vellmark.exe.manifest")
endforeach()
target_sources(vellmark PRIVATE ${VELLMARK_RC_DIR}/vellmark.rc)
target_sources(vellmark_library PRIVATE ${VELLMARK_RC_DIR}/Vellmark.dll.rc)

# Built on request only (test.sh asks for it): a C program of ours that loads Vellmark.dll,
# answers its dialogs and catches its exceptions.
add_executable(vellmark_export_host EXCLUDE_FROM_ALL tests/windows/export_host.c)
set_target_properties(vellmark_export_host PROPERTIES OUTPUT_NAME export_host)
target_link_libraries(vellmark_export_host PRIVATE vellmark_flags)
target_link_options(vellmark_export_host PRIVATE -static -static-libgcc)
