# Installing and packaging, as two components that are two packages: "batch" (calvane-batch: the batch tool, the simulator
# and what both front ends read) and "window" (calvane, which needs the former). lib/calvane holds the programs, bin/ links
# to them, share/calvane what they only read; platform/kernel/Process.h says how they find it, and where the user's files
# are.
#
#   cmake --install build/release --prefix DIRECTORY
#   cd build/release && cpack

include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CALVANE_REVISION 3)
set(components batch)
set(batch_programs calvane-batch phone-simulator)
set(batch_files "NV Decoder.vrk" "NV Decoder.units" "Sample Phone.nvmem" "Tessra.toml")
set(batch_package calvane-batch)
set(window_programs calvane)
set(window_files "CALVANE.HLP")
set(window_package calvane)
if(TARGET calvane)
    list(APPEND components window)
endif()

# As packages want it: in the same bytes whenever it is made.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/packaging/changelog)
set(changelog ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz)
execute_process(COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/packaging/changelog OUTPUT_FILE ${changelog}
    COMMAND_ERROR_IS_FATAL ANY)

foreach(file IN LISTS batch_files window_files)
    # Beside the programs of the build tree. A phone memory that an earlier run wrote there stays.
    configure_file("${CMAKE_SOURCE_DIR}/data/${file}" "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${file}" COPYONLY)
endforeach()
foreach(component IN LISTS components)
    foreach(program IN LISTS ${component}_programs)
        install(TARGETS ${program} RUNTIME DESTINATION lib/calvane COMPONENT ${component})
        file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/links)
        file(CREATE_LINK ../lib/calvane/${program} ${CMAKE_BINARY_DIR}/links/${program} SYMBOLIC)
        install(FILES ${CMAKE_BINARY_DIR}/links/${program} DESTINATION bin COMPONENT ${component})
    endforeach()
    foreach(file IN LISTS ${component}_files)
        install(FILES "${CMAKE_SOURCE_DIR}/data/${file}" DESTINATION share/calvane COMPONENT ${component})
    endforeach()
    install(FILES ${CALVANE_COPYRIGHT_FILE} ${changelog}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${component}_package} COMPONENT ${component})
endforeach()

file(GLOB pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/*.md)
install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/calvane-batch COMPONENT batch)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs/schema DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/calvane-batch COMPONENT batch)

set(packaging ${CMAKE_SOURCE_DIR}/packaging)
configure_file(${packaging}/calvane.metainfo.xml ${CMAKE_BINARY_DIR}/packaging/calvane.metainfo.xml @ONLY)
install(FILES ${packaging}/calvane.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT window)
install(FILES ${packaging}/calvane-mime.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages RENAME calvane.xml
    COMPONENT window)
install(FILES ${CMAKE_BINARY_DIR}/packaging/calvane.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo
    COMPONENT window)
foreach(size 16 32 48 64 128 256)
    install(FILES ${CMAKE_SOURCE_DIR}/app/resources/images/icon-${size}.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps RENAME calvane.png COMPONENT window)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME calvane)
set(CPACK_PACKAGE_VENDOR "Calvane")
set(CPACK_PACKAGE_CONTACT "The Calvane authors <maintainers@calvane.invalid>")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CALVANE_REVISION})
set(CPACK_DEBIAN_PACKAGE_SOURCE calvane)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(version ${PROJECT_VERSION}-${CALVANE_REVISION})

set(CPACK_DEBIAN_BATCH_PACKAGE_NAME ${batch_package})
# The first package had everything in it.
set(CPACK_DEBIAN_BATCH_PACKAGE_BREAKS "calvane (<< 1.4.34-2)")
set(CPACK_DEBIAN_BATCH_PACKAGE_REPLACES "calvane (<< 1.4.34-2)")
set(CPACK_COMPONENT_BATCH_DESCRIPTION "radio-frequency calibration data of mobile phones, batch tool
Reads the numbered calibration items of a phone or of a calibration file,
checks, compares and writes them, for scripts and production lines. A
simulated phone and a simulator for serial lines are included.")
set(CPACK_DEBIAN_WINDOW_PACKAGE_NAME ${window_package})
# Without any font, every text is a row of boxes.
set(CPACK_DEBIAN_WINDOW_PACKAGE_DEPENDS "calvane-batch (= ${version}), fonts-dejavu-core")
set(CPACK_DEBIAN_WINDOW_PACKAGE_RECOMMENDS "xdg-utils")
set(CPACK_COMPONENT_WINDOW_DESCRIPTION "radio-frequency calibration data of mobile phones
Reads the numbered calibration items of a phone or of a calibration file,
shows them as typed values, tables and curves, and writes them back. A
simulated phone is included.")
include(CPack)
