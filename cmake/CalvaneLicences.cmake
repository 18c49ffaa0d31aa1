# What the programs are under as they are built, in one text: the package's copyright file, which the window shows as well.
if(CALVANE_WINDOWS AND CALVANE_CURVES)
    set(CALVANE_WINDOW_LICENCE "GPL-3")
    set(CALVANE_WINDOW_SPDX "GPL-3.0-only")
    set(CALVANE_WINDOW_COMMENT
        " Its own source is under the Expat (MIT) licence. As built it uses Qt Charts, which is under the GPL 3, and so the program
 is under the GPL 3. One that is built without curves (-DCALVANE_CURVES=OFF) is under the Expat licence; Qt's other
 libraries are under the LGPL 3.")
    set(CALVANE_WINDOW_TEXT
        "License: GPL-3
 This program is free software: you may pass it on and change it under the terms of version 3 of the GNU General Public
 License, as published by the Free Software Foundation. It comes without any warranty.
 .
 On Debian systems the full text is in /usr/share/common-licenses/GPL-3; elsewhere, at https://www.gnu.org/licenses/.
")
else()
    set(CALVANE_WINDOW_LICENCE "Expat")
    set(CALVANE_WINDOW_SPDX "MIT")
    set(CALVANE_WINDOW_COMMENT " It is built without curves, and uses libraries of Qt that are under the LGPL 3.")
    set(CALVANE_WINDOW_TEXT "")
endif()
set(CALVANE_COPYRIGHT_FILE ${CMAKE_BINARY_DIR}/packaging/copyright)
configure_file(${CMAKE_SOURCE_DIR}/packaging/copyright.in ${CALVANE_COPYRIGHT_FILE} @ONLY)
