# Every outside library the project uses is found here, once, so that the targets
# below only name imported targets. All of them come from Debian packages
# (scripts/install-deps).
set(QT_NS Qt${UTILITY_QT_MAJOR})
if(NOT UTILITY_QT_MAJOR MATCHES "^(5|6)$")
  message(FATAL_ERROR "UTILITY_QT_MAJOR must be 5 or 6, not '${UTILITY_QT_MAJOR}'")
endif()
set(UTILITY_QT_COMPONENTS Core Gui Xml Svg)
find_package(${QT_NS} REQUIRED COMPONENTS ${UTILITY_QT_COMPONENTS})
if(UTILITY_QT_MAJOR EQUAL 5 AND ${QT_NS}Core_VERSION VERSION_LESS 5.15)
  message(FATAL_ERROR "Qt 5 builds need Qt 5.15 or newer")
endif()
# Widgets only for the tests (file dialog filters), the demo and the tools.
find_package(${QT_NS} QUIET COMPONENTS Widgets Test)

find_package(ZLIB REQUIRED)
# minizip as QuaZip ships it: the plain Debian minizip mis-reads zip64 sizes on LP64.
find_package(QuaZip-Qt${UTILITY_QT_MAJOR} REQUIRED)

find_package(PkgConfig REQUIRED)
pkg_check_modules(MSPACK REQUIRED IMPORTED_TARGET libmspack)
pkg_check_modules(LIBWMF REQUIRED IMPORTED_TARGET libwmf)

# libemf2svg and libUEMF ship no pkg-config file.
find_path(EMF2SVG_INCLUDE_DIR emf2svg.h REQUIRED)
find_library(EMF2SVG_LIBRARY emf2svg REQUIRED)
find_path(UEMF_INCLUDE_DIR uemf_safe.h REQUIRED)
find_library(UEMF_LIBRARY uemf REQUIRED)
if(NOT TARGET Utility::emf2svg)
  add_library(Utility::emf2svg UNKNOWN IMPORTED)
  set_target_properties(Utility::emf2svg PROPERTIES IMPORTED_LOCATION "${EMF2SVG_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${EMF2SVG_INCLUDE_DIR}")
  add_library(Utility::uemf UNKNOWN IMPORTED)
  set_target_properties(Utility::uemf PROPERTIES IMPORTED_LOCATION "${UEMF_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${UEMF_INCLUDE_DIR}")
endif()

# libUEMF exports a wmf_free of its own. Linked like the others it would sit in the
# global symbol scope and capture libwmf's calls to libwmflite's wmf_free (a crash
# on the first Windows metafile), so the library loads libemf2svg, and libUEMF
# with it, at run time with local binding. The file name to load is its soname.
file(READ_ELF "${EMF2SVG_LIBRARY}" SONAME EMF2SVG_SONAME)
if(NOT EMF2SVG_SONAME)
  get_filename_component(EMF2SVG_SONAME "${EMF2SVG_LIBRARY}" NAME)
endif()
