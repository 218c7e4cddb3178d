# The desktop application in three layers: PelgraLogic (rules and geometry as values), PelgraApp (windows, timers,
# platform), and the program itself.
find_package(Qt6 6.4 REQUIRED COMPONENTS Gui Widgets Svg DBus Network)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-xfixes xcb-xkb xcb-xinput xcb-shape xcb-keysyms)
pkg_check_modules(CANBERRA REQUIRED IMPORTED_TARGET libcanberra)
find_package(OpenSSL REQUIRED)
# Surfaces above all windows on Wayland, and keys that KWin tells. Debian has these for Qt 6 from release 13 on.
find_package(LayerShellQt 6 QUIET)
find_package(KF6GuiAddons QUIET)
pkg_check_modules(WAYLAND_CLIENT QUIET IMPORTED_TARGET wayland-client)
if(LayerShellQt_FOUND AND KF6GuiAddons_FOUND AND WAYLAND_CLIENT_FOUND)
    set(PELGRA_LAYERS 1)
else()
    set(PELGRA_LAYERS 0)
endif()
message(STATUS "Layer surfaces on Wayland: ${PELGRA_LAYERS}")

# Updates are set up per build: without a real key the updater never starts.
set(PELGRA_UPDATE_FEED "" CACHE STRING "Address (https) of the appcast of new versions")
set(PELGRA_UPDATE_PUBLIC_KEY "REPLACE_WITH_PUBLIC_KEY" CACHE STRING "Base64 of the Ed25519 key that signs the appcast")

# Files named here need no QObject, no screen and no event loop; tools/check-layering.py holds them to it.
set(logic Drag/DragSessionMachine.cpp Wheel/WheelPetal.cpp Wheel/WheelLayout.cpp Wheel/TargetRules.cpp ToolWindows/Reordering/Reordering.cpp
    ToolWindows/Pages/PageEdits.cpp
    Settings/ModifierKey.cpp Support/Formatters.cpp Platform/PlatformChoice.cpp
    Platform/Sampling/DragDiscovery.cpp Platform/Sampling/DiscoveringDragSource.cpp
    Platform/Sampling/CompositeDragSource.cpp)
list(TRANSFORM logic PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
add_library(PelgraLogic STATIC ${logic})
target_include_directories(PelgraLogic PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(PelgraLogic PUBLIC PelgraCore Qt6::Gui PRIVATE PelgraCompilerSettings PelgraQtSettings)

file(GLOB_RECURSE application CONFIGURE_DEPENDS Drag/*.cpp Wheel/*.cpp Jobs/*.cpp ToolWindows/*.cpp Settings/*.cpp
    Support/*.cpp Controls/*.cpp Pictures/*.cpp Desktop/*.cpp Platform/*.cpp App/*.cpp)
list(REMOVE_ITEM application ${logic} ${CMAKE_CURRENT_SOURCE_DIR}/App/main.cpp)
if(NOT PELGRA_LAYERS)
    list(FILTER application EXCLUDE REGEX "/Platform/Wayland/")
endif()
file(GLOB resources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/data/*.qrc)
add_library(PelgraApp STATIC ${application} ${resources})
set_target_properties(PelgraApp PROPERTIES AUTOMOC ON AUTORCC ON)
target_include_directories(PelgraApp PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(PelgraApp PUBLIC PelgraLogic Qt6::Widgets Qt6::Svg Qt6::DBus Qt6::Network
    PRIVATE PkgConfig::XCB PkgConfig::CANBERRA OpenSSL::Crypto PelgraCompilerSettings PelgraQtSettings)
set_property(SOURCE App/Updates/SparkleUpdater.cpp PROPERTY COMPILE_DEFINITIONS
    PELGRA_UPDATE_FEED="${PELGRA_UPDATE_FEED}" PELGRA_UPDATE_PUBLIC_KEY="${PELGRA_UPDATE_PUBLIC_KEY}")
target_compile_definitions(PelgraApp PRIVATE PELGRA_LAYERS=${PELGRA_LAYERS})
if(PELGRA_LAYERS)
    target_link_libraries(PelgraApp PRIVATE LayerShellQt::Interface KF6::GuiAddons PkgConfig::WAYLAND_CLIENT)
endif()
add_dependencies(PelgraApp PelgraCoreModules)
pelgra_precompile(PelgraApp <QtWidgets>)

add_executable(pelgra-desktop App/main.cpp)
target_link_libraries(pelgra-desktop PRIVATE PelgraApp PelgraCompilerSettings PelgraQtSettings)
install(TARGETS pelgra-desktop RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_SOURCE_DIR}/docs/man/pelgra-desktop.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

add_subdirectory(${CMAKE_SOURCE_DIR}/data ${CMAKE_BINARY_DIR}/data)
