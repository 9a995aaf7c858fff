# The bundle, put together in the build folder as it will lie on the machine: programs are linked straight into it.
include(GNUInstallDirs)

set(LARKMOOR_BUNDLE "${PROJECT_BINARY_DIR}/Larkmoor.app")

set(LARKMOOR_UPDATE_KEYS "")
if(LARKMOOR_FEED_URL)
  string(CONCAT LARKMOOR_UPDATE_KEYS "\n\t<key>SUFeedURL</key>\n\t<string>${LARKMOOR_FEED_URL}</string>"
         "\n\t<key>SUPublicEDKey</key>\n\t<string>${LARKMOOR_PUBLIC_KEY}</string>")
endif()
configure_file("${PROJECT_SOURCE_DIR}/Packaging/Info.plist.in" "${LARKMOOR_BUNDLE}/Contents/Info.plist" @ONLY)
configure_file("${PROJECT_SOURCE_DIR}/Packaging/tools.fenwright.larkmoor.gateway.plist"
               "${LARKMOOR_BUNDLE}/Contents/Library/LaunchAgents/tools.fenwright.larkmoor.gateway.plist" COPYONLY)

add_custom_target(larkmoor-bundle ALL
  COMMAND ${CMAKE_COMMAND} -E copy_directory "${PROJECT_SOURCE_DIR}/Packaging/icons/hicolor"
          "${LARKMOOR_BUNDLE}/Contents/Resources/icons/hicolor"
  # Outside of a theme, too: some panels look in a theme of this folder alone, which has no index.
  COMMAND ${CMAKE_COMMAND} -E copy_directory "${PROJECT_SOURCE_DIR}/Packaging/icons/hicolor/scalable/status"
          "${LARKMOOR_BUNDLE}/Contents/Resources/icons"
  COMMENT "Putting Larkmoor.app together" VERBATIM)

# larkmoor_bundled(TARGET): the program is part of the bundle.
function(larkmoor_bundled target)
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${LARKMOOR_BUNDLE}/Contents/MacOS")
  add_dependencies(larkmoor-bundle ${target})
endfunction()

install(DIRECTORY "${LARKMOOR_BUNDLE}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/larkmoor" USE_SOURCE_PERMISSIONS)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/Packaging/icons/hicolor" DESTINATION "${CMAKE_INSTALL_DATADIR}/icons")
# What software centres show; its day is that of the commit where $SOURCE_DATE_EPOCH says so.
string(TIMESTAMP LARKMOOR_BUILD_DATE "%Y-%m-%d" UTC)
configure_file("${PROJECT_SOURCE_DIR}/Packaging/tools.fenwright.larkmoor.menubar.metainfo.xml.in"
               "${PROJECT_BINARY_DIR}/tools.fenwright.larkmoor.menubar.metainfo.xml" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/tools.fenwright.larkmoor.menubar.metainfo.xml"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo")
# Where it goes is known when it goes there: the prefix may be named then.
install(CODE "
  set(LARKMOOR_INSTALLED_BUNDLE \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/larkmoor/Larkmoor.app\")
  set(entry \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/applications/tools.fenwright.larkmoor.menubar.desktop\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${entry}\")
  configure_file(\"${PROJECT_SOURCE_DIR}/Packaging/tools.fenwright.larkmoor.menubar.desktop.in\"
                 \"\$ENV{DESTDIR}\${entry}\" @ONLY)")
