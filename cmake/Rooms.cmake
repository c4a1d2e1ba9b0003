# A room is a folder under Sources and one target of the same name.
#
#   quenstal_room(QuenstalApp SOURCES A.cpp B.cpp DEPENDS QuenstalCore PRIVATE_DEPENDS PkgConfig::X11)
#
# A room without sources (headers only) is an interface library.
function(quenstal_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    if(ROOM_SOURCES)
        add_library(${name} STATIC ${ROOM_SOURCES})
        target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/Sources)
        target_link_libraries(${name} PUBLIC ${ROOM_DEPENDS} PRIVATE quenstal_options ${ROOM_PRIVATE_DEPENDS})
    else()
        add_library(${name} INTERFACE)
        target_include_directories(${name} INTERFACE ${PROJECT_SOURCE_DIR}/Sources)
        target_link_libraries(${name} INTERFACE ${ROOM_DEPENDS})
    endif()
endfunction()
