# Pages for man and completions for shells, made of the programs' own help when they are built. A program that is not
# built has no page.

include(GNUInstallDirs)
set(pages ${CMAKE_BINARY_DIR}/pages)
set(CALVANE_PAGES)

# calvane_page(file FOLDER COMMAND...): what the command prints, to be installed in the folder.
function(calvane_page file folder)
    add_custom_command(OUTPUT ${pages}/${file}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${pages}
        COMMAND ${ARGN} > ${pages}/${file}
        DEPENDS calvane-pages ${CALVANE_PAGE_DEPENDS} VERBATIM)
    install(FILES ${pages}/${file} DESTINATION ${folder})
    set(CALVANE_PAGES ${CALVANE_PAGES} ${pages}/${file} PARENT_SCOPE)
endfunction()

set(version "Calvane ${PROJECT_VERSION}")
calvane_page(calvane-batch.1 ${CMAKE_INSTALL_MANDIR}/man1 calvane-pages man ${version})
calvane_page(calvane-batch ${CMAKE_INSTALL_DATADIR}/bash-completion/completions calvane-pages bash)
calvane_page(_calvane-batch ${CMAKE_INSTALL_DATADIR}/zsh/site-functions calvane-pages zsh)
foreach(program calvane phone-simulator)
    if(TARGET ${program})
        set(CALVANE_PAGE_DEPENDS ${program})
        calvane_page(${program}.1 ${CMAKE_INSTALL_MANDIR}/man1
            ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen $<TARGET_FILE:${program}> --help
            | $<TARGET_FILE:calvane-pages> man ${version} ${program})
    endif()
endforeach()
add_custom_target(calvane-man-and-completion ALL DEPENDS ${CALVANE_PAGES})
