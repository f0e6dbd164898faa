# What `cmake --install` lays out, in the components that become Debian packages:
#
#     tool         vesk-decode, its man pages, completions and documents
#     emulator     vesk-emulate, its library, man page and completions
#     library      the plug-in, for every program that loads or links it
#     development  headers, CMake package, pkg-config file
#     python       the Python package
#     viewer       the viewer's page, where it was built
#
# The plug-in keeps its plain name, libvesk-report.so, beside the versioned ones and in the same
# component: that is the name by which hosts load it.
include(CMakePackageConfigHelpers)

set(VESK_ZSH_COMPLETIONS
    ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
    CACHE STRING "Folder of zsh's completions; /usr of Debian has share/zsh/vendor-completions")
set(VESK_PACKAGE_CONTACT
    "The vesk-report developers <vesk-report@localhost>"
    CACHE STRING "Maintainer of the packages, as NAME <ADDRESS>")

# --------------------------------------------------------------------------- library, development

install(
  TARGETS vesk-report
  EXPORT VeskReport
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)

# HIDReportVeskPlugin.h with what it includes, and the C interface. These read lines and objects; what
# builds them (model/lines.h, model/dictionary.h, text/) stays here.
set(headers
    model/LineList.h
    model/Number.h
    model/ReportObject.h
    model/Result.h
    model/wire.h
    plugin/Error.h
    plugin/HIDReportVeskPlugin.h
    plugin/ReportTable.h
    plugin/vesk_plugin.h)
foreach(header ${headers})
  get_filename_component(folder ${header} DIRECTORY)
  install(
    FILES ${header}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vesk-report/${folder}
    COMPONENT development)
endforeach()

set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/VeskReport)
install(
  EXPORT VeskReport
  FILE VeskReportConfig.cmake
  NAMESPACE VeskReport::
  DESTINATION ${cmake_folder}
  COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VeskReportConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/VeskReportConfigVersion.cmake
  DESTINATION ${cmake_folder}
  COMPONENT development)

# The way back from the file to the prefix, so that an installed tree can be moved.
file(RELATIVE_PATH VESK_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_PREFIX})
configure_file(packaging/vesk-report.pc.in vesk-report.pc @ONLY)
install(
  FILES ${PROJECT_BINARY_DIR}/vesk-report.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

# ------------------------------------------------------------------- licence and changelog, for each

# vesk_debian_text(VARIABLE TEXT): as Debian writes licences down, each line indented, an empty one a dot.
function(vesk_debian_text variable text)
  string(REGEX REPLACE "\n+$" "" text "${text}")
  string(REGEX REPLACE "\n[ \t]*\n" "\n.\n" text "${text}")
  string(REGEX REPLACE "\n[ \t]*\n" "\n.\n" text "${text}") # two empty lines share a line end
  string(REPLACE "\n" "\n " text " ${text}")
  set(${variable}
      "${text}"
      PARENT_SCOPE)
endfunction()

file(READ LICENSE VESK_LICENSE)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS LICENSE)
string(REGEX REPLACE "^.*developers\n\n" "" VESK_LICENSE "${VESK_LICENSE}")
vesk_debian_text(VESK_LICENSE "${VESK_LICENSE}")
configure_file(packaging/copyright.in copyright @ONLY)

# vesk_install_papers(COMPONENT PACKAGE FILE): FILE is the package's copyright.
function(vesk_install_papers component package copyright)
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(
    FILES ${copyright}
    RENAME copyright
    DESTINATION ${folder}
    COMPONENT ${component})
  install(
    FILES CHANGELOG.md
    RENAME changelog
    DESTINATION ${folder}
    COMPONENT ${component})
endfunction()
# vesk_copyright_with(PACKAGE): copyright-of-PACKAGE, the licence with those of the libraries whose headers
# are compiled in, which want to be told.
function(vesk_copyright_with package)
  set(others packaging/copyright-of-${package})
  file(READ ${PROJECT_BINARY_DIR}/copyright copyright)
  file(READ ${others} copyright_of_headers)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${others})
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/copyright-of-${package}
       CONTENT "${copyright}${copyright_of_headers}" @ONLY)
endfunction()

vesk_install_papers(library libvesk-report ${PROJECT_BINARY_DIR}/copyright)
vesk_install_papers(development libvesk-report-dev ${PROJECT_BINARY_DIR}/copyright)

# ------------------------------------------------------------------------------------------- tool

if(VESK_BUILD_HOST)
  install(
    FILES docs/vesk-decode.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT tool)
  install(
    FILES docs/vesk-limits.5 docs/vesk-ndjson.5 docs/vesk-reports.5
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
    COMPONENT tool)
  install(
    FILES packaging/vesk-decode.bash
    RENAME vesk-decode
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    COMPONENT tool)
  install(
    FILES packaging/vesk-decode.zsh
    RENAME _vesk-decode
    DESTINATION ${VESK_ZSH_COMPLETIONS}
    COMPONENT tool)

  # Access to live devices. udev looks here whatever the folder of libraries is called.
  install(
    FILES packaging/60-vesk.rules
    DESTINATION lib/udev/rules.d
    COMPONENT tool)

  # The cookbook's commands work in the folder that it is installed to.
  set(doc_folder ${CMAKE_INSTALL_DATADIR}/doc/vesk-decode)
  install(
    FILES docs/cookbook.md docs/limits.schema.json docs/ndjson.schema.json
    DESTINATION ${doc_folder}
    COMPONENT tool)
  install(
    DIRECTORY samples
    DESTINATION ${doc_folder}
    COMPONENT tool
    PATTERN "*.py" EXCLUDE
    PATTERN "__pycache__" EXCLUDE)

  install(
    FILES docs/vesk-emulate.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT emulator)
  install(
    FILES packaging/vesk-emulate.bash
    RENAME vesk-emulate
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    COMPONENT emulator)
  install(
    FILES packaging/vesk-emulate.zsh
    RENAME _vesk-emulate
    DESTINATION ${VESK_ZSH_COMPLETIONS}
    COMPONENT emulator)

  vesk_copyright_with(vesk-decode)
  vesk_copyright_with(vesk-emulate)
  vesk_install_papers(tool vesk-decode ${PROJECT_BINARY_DIR}/copyright-of-vesk-decode)
  vesk_install_papers(emulator vesk-emulate ${PROJECT_BINARY_DIR}/copyright-of-vesk-emulate)
endif()

# ----------------------------------------------------------------------------------------- python

if(TARGET vesk-python)
  set(VESK_PYTHON_FOLDER
      lib/python3/dist-packages
      CACHE STRING "Folder of Python's packages below the prefix, as Debian has it")
  set(python_folder ${VESK_PYTHON_FOLDER}/vesk_report)
  install(TARGETS vesk-python LIBRARY DESTINATION ${python_folder} COMPONENT python)
  install(
    DIRECTORY python/vesk_report/
    DESTINATION ${python_folder}
    COMPONENT python
    PATTERN "__pycache__" EXCLUDE)
  vesk_copyright_with(python3-vesk-report)
  vesk_install_papers(python python3-vesk-report
                      ${PROJECT_BINARY_DIR}/copyright-of-python3-vesk-report)
endif()

# ----------------------------------------------------------------------------------------- viewer

# scripts/viewer builds the page, with tools that nothing else needs, and lays its notices beside it.
set(VESK_VIEWER_PAGE
    ""
    CACHE FILEPATH "vesk-viewer.html as scripts/viewer built it, to be installed; empty: none is")
if(VESK_VIEWER_PAGE)
  get_filename_component(page ${VESK_VIEWER_PAGE} ABSOLUTE BASE_DIR ${CMAKE_BINARY_DIR})
  string(REGEX REPLACE "\\.html$" ".notices" notices ${page})
  foreach(file ${page} ${notices})
    if(NOT EXISTS ${file})
      message(FATAL_ERROR "VESK_VIEWER_PAGE: there is no ${file}; scripts/viewer builds it")
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  endforeach()
  file(READ ${page} text)
  string(FIND "${text}" "id=\"carried\" data-version=\"${PROJECT_VERSION}\"></script>" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "VESK_VIEWER_PAGE: ${page} is no page of ${PROJECT_VERSION}; see scripts/viewer")
  endif()
  install(
    FILES ${page}
    RENAME vesk-viewer.html
    DESTINATION ${CMAKE_INSTALL_DATADIR}/vesk
    COMPONENT viewer)
  file(READ ${notices} text)
  vesk_debian_text(VESK_NOTICES "${text}")
  configure_file(packaging/copyright-of-vesk-viewer.in notices-of-vesk-viewer @ONLY)
  file(READ ${PROJECT_BINARY_DIR}/copyright text)
  file(READ ${PROJECT_BINARY_DIR}/notices-of-vesk-viewer notices_text)
  file(WRITE ${PROJECT_BINARY_DIR}/copyright-of-vesk-viewer "${text}${notices_text}")
  vesk_install_papers(viewer vesk-viewer ${PROJECT_BINARY_DIR}/copyright-of-vesk-viewer)
endif()

# --------------------------------------------------------------------------------------- packages

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL library development)
if(VESK_BUILD_HOST)
  list(APPEND CPACK_COMPONENTS_ALL tool emulator)
endif()
if(TARGET vesk-python)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
if(VESK_VIEWER_PAGE)
  list(APPEND CPACK_COMPONENTS_ALL viewer)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME vesk-report)
set(CPACK_PACKAGE_CONTACT ${VESK_PACKAGE_CONTACT})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/compress-documents.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ
    OWNER_WRITE
    OWNER_EXECUTE
    GROUP_READ
    GROUP_EXECUTE
    WORLD_READ
    WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(same_version "libvesk-report (= ${PROJECT_VERSION})")

# Who needs which library is read from the programs where Debian's tools for it are at hand.
find_program(VESK_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(VESK_DPKG_SHLIBDEPS)
if(VESK_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_EMULATOR_PACKAGE_SHLIBDEPS ON)
  set(tool_needs ${same_version})
else()
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
  set(tool_needs "${same_version}, ${CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS}")
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libvesk-report)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "decoder of the Vesk controller's HID reports, shared library
A plug-in that turns the vendor-specific HID reports of the Vesk touch
controller into text for people or objects for programs. Programs load it by
its C interface, or link it and use its C++ class.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvesk-report-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${same_version})
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "decoder of the Vesk controller's HID reports, development files
Headers of the C interface and the C++ class, a CMake package and a pkg-config
file, to build programs that decode HID reports of the Vesk touch controller.")

# libarchive is loaded when a compressed file needs it.
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME vesk-decode)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ${tool_needs})
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS libarchive13)
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "jq, parallel, vesk-viewer")
set(CPACK_COMPONENT_TOOL_DESCRIPTION
    "decodes captures of the Vesk controller's HID reports
vesk-decode reads hex text, dumps, binary reports, recordings of hid-recorder
and USB captures, and writes what the reports of the Vesk touch controller say
as text, JSON, CSV, or a recording again.")

set(CPACK_DEBIAN_EMULATOR_PACKAGE_NAME vesk-emulate)
set(CPACK_DEBIAN_EMULATOR_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_EMULATOR_PACKAGE_DEPENDS ${tool_needs})
set(CPACK_DEBIAN_EMULATOR_PACKAGE_RECOMMENDS libarchive13)
set(CPACK_DEBIAN_EMULATOR_PACKAGE_SUGGESTS vesk-decode)
set(CPACK_COMPONENT_EMULATOR_DESCRIPTION
    "emulates HID devices from captures of their reports
vesk-emulate runs a command that finds a HID device under /dev/hidraw which
answers and sends what a capture holds, at its times, at a rate or as fast as
it is read, and which misbehaves on demand. Programs that read the Vesk touch
controller can so be built and tested without one.")

# The module is for one minor version of Python, and for numpy's interface as it is there.
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-vesk-report)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "${tool_needs}, python3 (>= ${VESK_PYTHON_VERSION}), python3 (<< ${VESK_PYTHON_VERSION}.~), python3-numpy"
)
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS libarchive13)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-pandas, python3-xarray")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION
    "decodes captures of HID reports to numpy arrays
The Python package vesk_report reads all that vesk-decode reads, and gives the
reports of the Vesk touch controller as numpy arrays, without a copy, in parts
of a bounded size, or one by one.")

set(CPACK_DEBIAN_VIEWER_PACKAGE_NAME vesk-viewer)
set(CPACK_DEBIAN_VIEWER_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_VIEWER_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_VIEWER_PACKAGE_ENHANCES vesk-decode)
set(CPACK_COMPONENT_VIEWER_DESCRIPTION
    "decodes captures of HID reports in a browser
A page that shows the reports of the Vesk touch controller from all captures
that vesk-decode reads, from disk and without a network. vesk-decode puts
reports into it, for whoever has nothing but a browser.")
include(CPack)
