# timecode_below(VARIABLE PREFIX): puts the prefix, which may be known later only, before a folder that is not absolute.
function(timecode_below variable prefix)
    if(NOT IS_ABSOLUTE ${${variable}})
        set(${variable} ${prefix}/${${variable}} PARENT_SCOPE)
    endif()
endfunction()

# timecode_install(TARGET COMPONENT): installs a shared library or program, which finds the libraries by its own place.
#
# In a system's own folders it has no search path of its own: there the system's search path decides, so that a
# platform can put its services before the project's. Where things go is known when they are installed only.
function(timecode_install target component)
    get_target_property(type ${target} TYPE)
    if(TIMECODE_HARDENING)
        target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now)
    endif()
    set(same_path ON)
    if(type STREQUAL EXECUTABLE)
        set(same_path ${top_level}) # which has its programs in bin and its libraries in lib
        set(folder ${CMAKE_INSTALL_BINDIR})
        file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
        set(path $ORIGIN/../lib $ORIGIN/${libraries})
        list(REMOVE_DUPLICATES path)
    else()
        set(folder ${CMAKE_INSTALL_LIBDIR})
        set(path $ORIGIN)
    endif()
    if(NOT DEFINED CMAKE_INSTALL_RPATH)
        # The same in the build folder and installed: nothing to write over, so no empty entry as a filler.
        set_target_properties(${target} PROPERTIES INSTALL_RPATH "${path}" BUILD_WITH_INSTALL_RPATH ${same_path})
    endif()
    if(NOT TIMECODE_INSTALL)
        return()
    endif()
    install(TARGETS ${target} ${ARGN} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT development)
    if(NOT DEFINED CMAKE_INSTALL_RPATH)
        timecode_below(folder \${CMAKE_INSTALL_PREFIX})
        install(CODE "if(CMAKE_INSTALL_PREFIX MATCHES \"^/(usr(/local)?/?)?$\")
            file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}${folder}/$<TARGET_FILE_NAME:${target}>\")
        endif()" COMPONENT ${component})
    endif()
endfunction()

# timecode_install_documents(): what is read: guides, examples, and the man pages that scripts/docs.sh has made by then.
function(timecode_install_documents)
    if(NOT TIMECODE_INSTALL)
        return()
    endif()
    install(FILES README.md CHANGELOG.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
    install(DIRECTORY docs examples bindings DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
        PATTERN Doxyfile EXCLUDE PATTERN CMakeLists.txt EXCLUDE PATTERN __pycache__ EXCLUDE)
    set(man ${PROJECT_SOURCE_DIR}/build/docs/man)
    install(DIRECTORY ${man}/man3 ${man}/man7 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development OPTIONAL)
    if(TIMECODE_BUILD_APPS)
        install(DIRECTORY ${man}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tools OPTIONAL)
        install(DIRECTORY apps/completion/ DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
            COMPONENT tools OPTIONAL)
    endif()
endfunction()
