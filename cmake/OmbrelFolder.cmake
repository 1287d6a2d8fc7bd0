# ombrel_folder(NAME [LINKS target...])
#
# Makes the folder src/NAME one object library ombrel_NAME (an interface library when it holds headers alone).
# Headers are included as "NAME/Header.h" through a directory that holds a link to this one folder and nothing
# else, so that a folder sees exactly the folders that it links: an arrow that is not listed does not compile.
function(ombrel_folder name)
    cmake_parse_arguments(PARSE_ARGV 1 folder "" "" "LINKS")
    set(arrow ${CMAKE_BINARY_DIR}/arrows/${name})
    file(MAKE_DIRECTORY ${arrow})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${arrow}/${name} SYMBOLIC)

    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
    if(sources)
        add_library(ombrel_${name} OBJECT ${sources})
        target_include_directories(ombrel_${name} PUBLIC ${arrow})
        target_link_libraries(ombrel_${name} PUBLIC ${folder_LINKS} PRIVATE ombrel_flags)
    else()
        add_library(ombrel_${name} INTERFACE)
        target_include_directories(ombrel_${name} INTERFACE ${arrow})
        target_link_libraries(ombrel_${name} INTERFACE ${folder_LINKS})
    endif()
endfunction()
