# Helpers shared by every folder's CMakeLists.txt.

# Compiler warnings the project builds clean with.
function(tavrin_set_warnings target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${TAVRIN_WARNINGS_AS_ERRORS}>:/WX>)
    else()
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
            $<$<BOOL:${TAVRIN_WARNINGS_AS_ERRORS}>:-Werror>)
    endif()
endfunction()

# Adds `<stem>_win.cpp` on Windows and `<stem>_posix.cpp` elsewhere, so that shared code
# never needs an #ifdef to reach the platform.
function(tavrin_platform_sources target)
    foreach(stem IN LISTS ARGN)
        if(WIN32)
            target_sources(${target} PRIVATE ${stem}_win.cpp)
        else()
            target_sources(${target} PRIVATE ${stem}_posix.cpp)
        endif()
    endforeach()
endfunction()

# Fails the configuration when a Qt target reaches the targets `tavrin_<layer>` of the given
# layers, and records their sources in `<name>_sources.txt` so that a test can prove none of
# them includes a Qt header.
function(tavrin_check_qt_free name)
    set(files "")
    foreach(layer IN LISTS ARGN)
        set(target tavrin_${layer})
        get_target_property(links ${target} LINK_LIBRARIES)
        foreach(link IN LISTS links)
            if(link MATCHES "^Qt[0-9]*::")
                message(FATAL_ERROR "${target} must stay free of Qt but links ${link}")
            endif()
        endforeach()
        get_target_property(sources ${target} SOURCES)
        get_target_property(sourceDir ${target} SOURCE_DIR)
        foreach(source IN LISTS sources)
            cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${sourceDir} OUTPUT_VARIABLE absolute)
            list(APPEND files ${absolute})
            # The headers beside each source belong to the engine too.
            cmake_path(REPLACE_EXTENSION absolute LAST_ONLY ".h" OUTPUT_VARIABLE header)
            string(REGEX REPLACE "_(win|posix)\\.h$" ".h" header "${header}")
            if(EXISTS ${header})
                list(APPEND files ${header})
            endif()
        endforeach()
    endforeach()
    list(REMOVE_DUPLICATES files)
    file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/${name}_sources.txt CONTENT "$<JOIN:${files},\n>\n")
endfunction()

# Compiles the given data files into `target` behind a function `symbol()` declared by the
# caller (see base/embedded_file.h).
function(tavrin_embed_files target symbol)
    set(output ${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp)
    set(files "")
    foreach(file IN LISTS ARGN)
        cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
        list(APPEND files ${file})
    endforeach()
    string(REPLACE ";" "|" fileArgument "${files}")
    add_custom_command(OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DSYMBOL=${symbol} "-DFILES=${fileArgument}"
                -P ${PROJECT_SOURCE_DIR}/cmake/EmbedFiles.cmake
        DEPENDS ${files} ${PROJECT_SOURCE_DIR}/cmake/EmbedFiles.cmake
        COMMENT "Embedding ${symbol}"
        VERBATIM)
    # A custom command only attaches to targets of its own folder; the target here makes it
    # run before `target`, wherever that is defined.
    add_custom_target(${symbol}_generated DEPENDS ${output})
    add_dependencies(${target} ${symbol}_generated)
    target_sources(${target} PRIVATE ${output})
endfunction()

# A target of the window: moc, and Qt's stricter rules. No QString from a bare char* (its
# encoding must be said), and no connect without a context object, which ends the connection
# when it goes.
function(tavrin_qt_target target)
    set_target_properties(${target} PROPERTIES AUTOMOC ON)
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CONTEXTLESS_CONNECT)
endfunction()
