# Pages for man and completions for shells, made of the programs' own help when they are built. A program that is not
# built has no page.

include(GNUInstallDirs)
set(pages ${CMAKE_BINARY_DIR}/pages)
set(CALVANE_PAGES)

# calvane_page(file COMPONENT FOLDER COMMAND...): what the command prints, to be installed in the folder; a page for man
# compressed, as packages have it.
function(calvane_page file component folder)
    set(installed ${pages}/${file})
    set(compress)
    set(compressed)
    if(file MATCHES "\\.1$")
        set(installed ${installed}.gz)
        set(compressed ${installed})
        set(compress COMMAND gzip -9nkf ${pages}/${file})
    endif()
    add_custom_command(OUTPUT ${pages}/${file}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${pages}
        COMMAND ${ARGN} > ${pages}/${file}
        ${compress}
        BYPRODUCTS ${compressed}
        DEPENDS calvane-pages ${CALVANE_PAGE_DEPENDS} VERBATIM)
    install(FILES ${installed} DESTINATION ${folder} COMPONENT ${component})
    set(CALVANE_PAGES ${CALVANE_PAGES} ${pages}/${file} PARENT_SCOPE)
endfunction()

set(version "Calvane ${PROJECT_VERSION}")
calvane_page(calvane-batch.1 batch ${CMAKE_INSTALL_MANDIR}/man1 calvane-pages man ${version})
calvane_page(calvane-batch batch ${CMAKE_INSTALL_DATADIR}/bash-completion/completions calvane-pages bash)
# Where the shell of this system looks for what packages bring.
calvane_page(_calvane-batch batch ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions calvane-pages zsh)
set(calvane_component window)
set(phone-simulator_component batch)
foreach(program calvane phone-simulator)
    if(TARGET ${program})
        set(CALVANE_PAGE_DEPENDS ${program})
        calvane_page(${program}.1 ${${program}_component} ${CMAKE_INSTALL_MANDIR}/man1
            ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen $<TARGET_FILE:${program}> --help
            | $<TARGET_FILE:calvane-pages> man ${version} ${program})
    endif()
endforeach()
add_custom_target(calvane-man-and-completion ALL DEPENDS ${CALVANE_PAGES})
