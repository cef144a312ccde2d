# Points the Windows cross build at the static Qt that scripts/build-qt-windows.sh builds:
# TAVRIN_QT_WINDOWS when set (variable or environment), else the newest complete build in the
# script's cache folder. Sets TAVRIN_WINDOWS_QT_NOTE to say why the window is left out when
# there is none.
set(TAVRIN_QT_WINDOWS "$ENV{TAVRIN_QT_WINDOWS}" CACHE PATH
    "Static Qt 6 for mingw-w64 (default: the cache of scripts/build-qt-windows.sh)")

set(qtWindowsPrefix "${TAVRIN_QT_WINDOWS}")
if(NOT qtWindowsPrefix)
    set(qtCacheRoot "$ENV{TAVRIN_QT_CACHE}")
    if(NOT qtCacheRoot)
        set(qtCacheRoot "$ENV{HOME}/.cache/tavrin")
    endif()
    # Only a build that ran to its end leaves the stamp file behind.
    file(GLOB qtStamps "${qtCacheRoot}/qt-*-mingw-static/.tavrin-build-key")
    list(SORT qtStamps COMPARE NATURAL ORDER DESCENDING)
    if(qtStamps)
        list(GET qtStamps 0 qtStamp)
        get_filename_component(qtWindowsPrefix "${qtStamp}" DIRECTORY)
    endif()
endif()

set(TAVRIN_WINDOWS_QT_NOTE "")
if(NOT qtWindowsPrefix)
    set(TAVRIN_WINDOWS_QT_NOTE
        "no Qt for Windows in ${qtCacheRoot} (scripts/build-qt-windows.sh builds it)")
elseif(NOT EXISTS "${qtWindowsPrefix}/lib/cmake/Qt6/Qt6Config.cmake")
    set(TAVRIN_WINDOWS_QT_NOTE "${qtWindowsPrefix} holds no Qt 6 (TAVRIN_QT_WINDOWS)")
else()
    message(STATUS "Qt for Windows: ${qtWindowsPrefix}")
    # The target libraries come from that folder; moc, rcc and uic from the host's Qt.
    list(APPEND CMAKE_FIND_ROOT_PATH "${qtWindowsPrefix}")
    file(GLOB hostQtInfo /usr/lib/*/cmake/Qt6HostInfo/Qt6HostInfoConfig.cmake)
    if(hostQtInfo)
        list(GET hostQtInfo 0 hostQtInfo)
        get_filename_component(hostQtCmake "${hostQtInfo}" DIRECTORY)
        get_filename_component(hostQtCmake "${hostQtCmake}" DIRECTORY)
        set(QT_HOST_PATH_CMAKE_DIR "${hostQtCmake}" CACHE PATH "Host Qt's CMake packages")
    endif()
    set(QT_HOST_PATH /usr CACHE PATH "Host Qt for the cross build's tools")
    set(Qt6_DIR "${qtWindowsPrefix}/lib/cmake/Qt6" CACHE PATH "" FORCE)
endif()
