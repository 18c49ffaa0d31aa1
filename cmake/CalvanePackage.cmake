# Installing and packaging. One folder holds the programs and the files that they look for beside themselves; it may be
# moved or copied as it is. bin/ holds launchers (packaging/launcher.in), share/ the desktop entry and its icons.
#
#   cmake --install build/release --prefix DIRECTORY
#   cd build/release && cpack

include(GNUInstallDirs)
set(CALVANE_FOLDER lib/calvane)
set(CALVANE_SIDE_FILES "NV Decoder.vrk" "NV Decoder.units" "Sample Phone.nvmem" "Tessra.toml" "CALVANE.HLP")

foreach(file IN LISTS CALVANE_SIDE_FILES)
    # Beside the programs of the build tree too. A phone memory that an earlier run wrote stays.
    configure_file("${CMAKE_SOURCE_DIR}/data/${file}" "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${file}" COPYONLY)
    install(FILES "${CMAKE_SOURCE_DIR}/data/${file}" DESTINATION ${CALVANE_FOLDER})
endforeach()
foreach(program calvane calvane-batch)
    if(TARGET ${program})
        install(TARGETS ${program} RUNTIME DESTINATION ${CALVANE_FOLDER})
        # Each knows its program by itself: it may be called by another name, or through a link.
        configure_file(${CMAKE_SOURCE_DIR}/packaging/launcher.in ${CMAKE_BINARY_DIR}/launchers/${program} @ONLY)
        install(PROGRAMS ${CMAKE_BINARY_DIR}/launchers/${program} DESTINATION ${CMAKE_INSTALL_BINDIR})
    endif()
endforeach()

install(FILES ${CMAKE_SOURCE_DIR}/packaging/calvane.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
foreach(size 16 32 48 64 128 256)
    install(FILES ${CMAKE_SOURCE_DIR}/app/resources/images/icon-${size}.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps RENAME calvane.png)
endforeach()
install(FILES ${CALVANE_COPYRIGHT_FILE} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/calvane)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME calvane)
set(CPACK_PACKAGE_VENDOR "Calvane")
set(CPACK_PACKAGE_CONTACT "Calvane developers <calvane@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Radio-frequency calibration data of mobile phones")
set(CPACK_PACKAGE_DESCRIPTION
    "Reads the numbered calibration items of a phone or of a calibration file, shows\nthem as typed values, and writes them back. A simulated phone is included.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Without any font, every text is a row of boxes.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-dejavu-core")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils")
include(CPack)
