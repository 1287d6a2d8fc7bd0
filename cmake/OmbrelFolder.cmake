# ombrel_folder(NAME [LINKS target...])
#
# Makes this folder, whose name is NAME, one object library ombrel_NAME (an interface library when it holds headers
# alone). Headers are included as "NAME/Header.h" through a directory that holds a link to this one folder and nothing
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
    set_property(GLOBAL APPEND PROPERTY OMBREL_FOLDERS ${name})
endfunction()

# ombrel_house(NAME [EXCEPT folder...])
#
# Adds each folder below this one that has a CMakeLists.txt. With a NAME, the objects of all of them but the
# exceptions become the library ombrel_NAME, through which programs and tests link them.
function(ombrel_house)
    cmake_parse_arguments(PARSE_ARGV 0 house "" "NAME" "EXCEPT")
    file(GLOB lists CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*/CMakeLists.txt)
    set(members) # those of the house that this one is in are visible here
    foreach(list ${lists})
        get_filename_component(folder ${list} DIRECTORY)
        get_filename_component(name ${folder} NAME)
        add_subdirectory(${folder})
        if(NOT name IN_LIST house_EXCEPT)
            list(APPEND members ombrel_${name})
        endif()
    endforeach()
    if(house_NAME)
        add_library(ombrel_${house_NAME} STATIC)
        target_link_libraries(ombrel_${house_NAME} PUBLIC ${members})
        set_target_properties(ombrel_${house_NAME} PROPERTIES LINKER_LANGUAGE CXX)
    endif()
endfunction()
