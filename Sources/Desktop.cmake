# The desktop application in three layers: PelgraLogic (rules and geometry as values), PelgraApp (windows, timers,
# platform), and the program itself.
find_package(Qt6 6.4 REQUIRED COMPONENTS Gui Widgets Svg DBus Network)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-xfixes xcb-xkb xcb-xinput xcb-shape xcb-keysyms)
pkg_check_modules(CANBERRA REQUIRED IMPORTED_TARGET libcanberra)

# Files named here need no QObject, no screen and no event loop; tools/check-layering.py holds them to it.
set(logic Drag/DragSessionMachine.cpp Wheel/WheelPetal.cpp Wheel/WheelLayout.cpp ToolWindows/Reordering.cpp
    Settings/ModifierKey.cpp Support/Formatters.cpp)
list(TRANSFORM logic PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
set(existing_logic)
foreach(file IN LISTS logic)
    if(EXISTS ${file})
        list(APPEND existing_logic ${file})
    endif()
endforeach()

file(GLOB_RECURSE application CONFIGURE_DEPENDS Drag/*.cpp Wheel/*.cpp Jobs/*.cpp ToolWindows/*.cpp Settings/*.cpp
    Support/*.cpp App/*.cpp)
list(REMOVE_ITEM application ${existing_logic} ${CMAKE_CURRENT_SOURCE_DIR}/App/main.cpp)

if(existing_logic)
    add_library(PelgraLogic STATIC ${existing_logic})
    target_include_directories(PelgraLogic PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(PelgraLogic PUBLIC PelgraCore Qt6::Gui PRIVATE PelgraCompilerSettings PelgraQtSettings)
endif()

if(application)
    file(GLOB resources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/data/*.qrc)
    add_library(PelgraApp STATIC ${application} ${resources})
    set_target_properties(PelgraApp PROPERTIES AUTOMOC ON AUTORCC ON)
    target_include_directories(PelgraApp PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(PelgraApp PUBLIC PelgraLogic Qt6::Widgets Qt6::Svg Qt6::DBus Qt6::Network
        PRIVATE PkgConfig::XCB PkgConfig::CANBERRA PelgraCompilerSettings PelgraQtSettings)
    add_dependencies(PelgraApp PelgraCoreModules)
endif()

if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/App/main.cpp)
    add_executable(pelgra-desktop App/main.cpp)
    target_link_libraries(pelgra-desktop PRIVATE PelgraApp PelgraCompilerSettings PelgraQtSettings)
    install(TARGETS pelgra-desktop RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

add_subdirectory(${CMAKE_SOURCE_DIR}/data ${CMAKE_BINARY_DIR}/data)
