# "Tessiva Focus.app": the bundle around a GUI program target on macOS, with its Info.plist,
# icon and the connected sound, and `make dmg` packing it into a drag-to-Applications disk image.
# Elsewhere the function does nothing.
set(TESSIVA_BUNDLE_IDENTIFIER "com.tessiva.focus")

function(tessiva_make_mac_bundle target)
  if(NOT APPLE)
    return()
  endif()
  set(resources
    ${PROJECT_SOURCE_DIR}/resources/macos/TessivaFocus.icns
    ${PROJECT_SOURCE_DIR}/resources/macos/connected.wav)
  target_sources(${target} PRIVATE ${resources})
  set_source_files_properties(${resources} PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
  set_target_properties(${target} PROPERTIES
    MACOSX_BUNDLE TRUE
    OUTPUT_NAME "Tessiva Focus"
    MACOSX_BUNDLE_INFO_PLIST ${PROJECT_SOURCE_DIR}/cmake/Info.plist.in
    MACOSX_BUNDLE_GUI_IDENTIFIER ${TESSIVA_BUNDLE_IDENTIFIER}
    MACOSX_BUNDLE_BUNDLE_NAME "Tessiva Focus"
    MACOSX_BUNDLE_ICON_FILE TessivaFocus.icns
    MACOSX_BUNDLE_SHORT_VERSION_STRING ${PROJECT_VERSION}
    MACOSX_BUNDLE_BUNDLE_VERSION ${PROJECT_VERSION})
  install(TARGETS ${target} BUNDLE DESTINATION .)

  set(CPACK_GENERATOR DragNDrop PARENT_SCOPE)
  set(CPACK_PACKAGE_NAME "Tessiva Focus" PARENT_SCOPE)
  set(CPACK_PACKAGE_FILE_NAME "Tessiva-Focus-${PROJECT_VERSION}" PARENT_SCOPE)
  set(CPACK_DMG_VOLUME_NAME "Tessiva Focus" PARENT_SCOPE)
endfunction()
