# What `cmake --install` puts where, and the package CPack makes of it: a Debian package from
# the Linux build, a zip from the Windows build. The version is project(VERSION) alone.
include(GNUInstallDirs)

set(TAVRIN_HOMEPAGE "https://tavrin.app" CACHE STRING "The product's web address")
set(TAVRIN_SCREENSHOT_URL "${TAVRIN_HOMEPAGE}/screenshots" CACHE STRING
    "Where the pictures of docs/screenshots are published, for software centres")
set(TAVRIN_MAINTAINER "The Tavrin developers <team@tavrin.app>")

set(packagingDir ${PROJECT_SOURCE_DIR}/packaging)
set(generatedDir ${PROJECT_BINARY_DIR}/packaging)

# The licence agreement, as the settings dialog shows it in English.
file(READ ${PROJECT_SOURCE_DIR}/i18n/legal/en.json legalJson)
string(JSON TAVRIN_LICENSE_PLAIN GET "${legalJson}" license_text)
string(JSON TAVRIN_NOTICE_PLAIN GET "${legalJson}" notice_text)

if(WIN32)
    install(TARGETS tavrin-cli RUNTIME DESTINATION .)
    if(TARGET tavrin)
        install(TARGETS tavrin RUNTIME DESTINATION .)
    endif()
    # A pack in i18n\ beside the programs replaces the built-in one, so a player can fix a text.
    foreach(code IN LISTS TAVRIN_LANGUAGES)
        install(FILES ${PROJECT_SOURCE_DIR}/i18n/${code}.json DESTINATION i18n)
    endforeach()
    configure_file(${packagingDir}/windows/README.txt ${generatedDir}/README.txt @ONLY
        NEWLINE_STYLE CRLF)
    file(CONFIGURE OUTPUT ${generatedDir}/LICENSE.txt
        CONTENT "${TAVRIN_LICENSE_PLAIN}\n\n\n${TAVRIN_NOTICE_PLAIN}\n" NEWLINE_STYLE CRLF)
    install(FILES ${generatedDir}/README.txt ${generatedDir}/LICENSE.txt DESTINATION .)

    set(CPACK_GENERATOR ZIP)
    set(CPACK_PACKAGE_FILE_NAME "tavrin-${PROJECT_VERSION}-windows-x64")
else()
    set(programs tavrin-cli tavrin-server)
    if(TARGET tavrin)
        list(APPEND programs tavrin)
    endif()
    install(TARGETS ${programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

    # Manual pages, compressed as Debian ships them; man reads both forms.
    find_program(TAVRIN_GZIP gzip REQUIRED)
    set(manPages tavrin-cli tavrin-server)
    if(TARGET tavrin)
        list(APPEND manPages tavrin)
    endif()
    set(compressedPages "")
    foreach(page IN LISTS manPages)
        configure_file(${packagingDir}/linux/${page}.1.in ${generatedDir}/${page}.1 @ONLY)
        add_custom_command(OUTPUT ${generatedDir}/${page}.1.gz
            COMMAND ${TAVRIN_GZIP} -9nf --keep ${generatedDir}/${page}.1
            DEPENDS ${generatedDir}/${page}.1 VERBATIM)
        list(APPEND compressedPages ${generatedDir}/${page}.1.gz)
    endforeach()
    add_custom_target(tavrin_man_pages ALL DEPENDS ${compressedPages})
    install(FILES ${compressedPages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

    if(TARGET tavrin)
        install(FILES ${packagingDir}/linux/tavrin.desktop
            DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
        foreach(size 16 32 48 64 128 256)
            install(FILES ${PROJECT_SOURCE_DIR}/assets/hicolor/${size}x${size}/apps/tavrin.png
                DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
        endforeach()
        install(FILES ${PROJECT_SOURCE_DIR}/assets/app.svg
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps RENAME tavrin.svg)
        configure_file(${packagingDir}/linux/tavrin.metainfo.xml.in
            ${generatedDir}/app.tavrin.Tavrin.metainfo.xml @ONLY)
        install(FILES ${generatedDir}/app.tavrin.Tavrin.metainfo.xml
            DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
    endif()

    # The server as a system service. Its settings go to /etc when the prefix is /usr.
    configure_file(${packagingDir}/linux/tavrin-server.service.in
        ${generatedDir}/tavrin-server.service @ONLY)
    install(FILES ${generatedDir}/tavrin-server.service DESTINATION lib/systemd/system)
    install(FILES ${packagingDir}/linux/tavrin-server.default
        DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default RENAME tavrin-server)
    install(FILES ${packagingDir}/linux/tavrin-server.passwords
        DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/tavrin-server RENAME passwords
        PERMISSIONS OWNER_READ OWNER_WRITE)

    # Debian's copyright file carries the licence agreement as a paragraph of its own.
    string(REGEX REPLACE "\n\n+" "\n.\n" licenseParagraph "${TAVRIN_LICENSE_PLAIN}")
    string(REPLACE "\n" "\n " licenseParagraph " ${licenseParagraph}")
    set(TAVRIN_LICENSE_TEXT "${licenseParagraph}")
    configure_file(${packagingDir}/debian/copyright.in ${generatedDir}/copyright @ONLY)
    execute_process(COMMAND date -u -R -d "${TAVRIN_RELEASE_DATE}"
        OUTPUT_VARIABLE TAVRIN_RELEASE_DATE_RFC2822 OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    configure_file(${packagingDir}/debian/changelog.in ${generatedDir}/changelog @ONLY)
    add_custom_command(OUTPUT ${generatedDir}/changelog.gz
        COMMAND ${TAVRIN_GZIP} -9nf --keep ${generatedDir}/changelog
        DEPENDS ${generatedDir}/changelog VERBATIM)
    add_custom_target(tavrin_changelog ALL DEPENDS ${generatedDir}/changelog.gz)
    install(FILES ${generatedDir}/copyright ${generatedDir}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tavrin)
    install(FILES ${PROJECT_SOURCE_DIR}/docs/nginx-tavrin.conf
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tavrin/examples)
    # The password file is private on purpose.
    install(FILES ${packagingDir}/debian/lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME tavrin)
    configure_file(${packagingDir}/debian/conffiles.in ${generatedDir}/conffiles @ONLY)

    set(CPACK_GENERATOR DEB)
    # Installs to /usr inside the package, and the absolute /etc paths beside it.
    set(CPACK_SET_DESTDIR ON)
    set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
    set(CPACK_DEBIAN_PACKAGE_NAME tavrin)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
    set(CPACK_DEBIAN_PACKAGE_SECTION net)
    set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
    set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${TAVRIN_HOMEPAGE})
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    # Qt's X11 and Wayland plugins are only recommended by its libraries; the window needs one.
    set(CPACK_DEBIAN_PACKAGE_DEPENDS qt6-qpa-plugins)
    set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
    set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
        ${generatedDir}/conffiles ${packagingDir}/debian/postinst ${packagingDir}/debian/prerm
        ${packagingDir}/debian/postrm)
    set(CPACK_PACKAGE_DESCRIPTION
        "Tavrin keeps an installation of the racing simulator Assetto Corsa in step\n"
        "with content packs published on content servers. It compares the game folder\n"
        "by size and SHA-256, downloads what differs on parallel connections into\n"
        "temporary files, verifies them and moves them into place. It never deletes\n"
        "what a server no longer lists.\n"
        "\n"
        "This package holds the desktop client (tavrin), the same engine for the\n"
        "command line (tavrin-cli) and a content server with its systemd unit\n"
        "(tavrin-server).")
    string(JOIN "" CPACK_PACKAGE_DESCRIPTION ${CPACK_PACKAGE_DESCRIPTION})
endif()

set(CPACK_PACKAGE_NAME tavrin)
set(CPACK_PACKAGE_VENDOR "The Tavrin developers")
set(CPACK_PACKAGE_CONTACT "${TAVRIN_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "keeps Assetto Corsa in step with content servers")
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 2)
include(CPack)
