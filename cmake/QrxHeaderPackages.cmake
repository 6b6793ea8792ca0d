# Packages that are headers and nothing else. A build for macOS on another system can use those of that system.

# qrx_find_headers(PACKAGE TARGET FOLDER)
# As find_package(PACKAGE QUIET), which makes TARGET of the headers in FOLDER. Where they are installed, headers of the
# system that builds lie beside them: for macOS, TARGET gets a folder with a link to FOLDER alone.
function(qrx_find_headers package target folder)
    find_package(${package} QUIET)
    if(NOT APPLE OR NOT CMAKE_CROSSCOMPILING OR NOT TARGET ${target})
        return()
    endif()
    get_target_property(installed ${target} INTERFACE_INCLUDE_DIRECTORIES)
    set(alone ${PROJECT_BINARY_DIR}/headers/${package})
    file(MAKE_DIRECTORY ${alone})
    foreach(place IN LISTS installed)
        if(IS_DIRECTORY ${place}/${folder})
            file(CREATE_LINK ${place}/${folder} ${alone}/${folder} SYMBOLIC)
            message(STATUS "${package}: the headers of this machine, ${place}/${folder}")
            break()
        endif()
    endforeach()
    set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${alone})
endfunction()
